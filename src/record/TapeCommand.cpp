// SPDX-License-Identifier: MIT
// Recording tapes from the command line. Nothing is shown, so there is no control and no window: only the deck, the
// writer of the files and a timer.
#include "record/TapeCommand.h"

#include "framework/Application.h"
#include "platform/digitizer/dv/DvDigitizer.h"
#include "platform/dv/Bus.h"
#include "record/OptionValues.h"
#include "record/OutputNames.h"
#include "record/RecordCommand.h"
#include "tape/TapeRecorder.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <thread>
#include <unistd.h>

namespace velmora {
namespace {

using platform::BusDevice;
using platform::DeckOperation;

constexpr const char* kState = "state";
constexpr auto kWaitForDeck = std::chrono::seconds(3); // it may just have been turned on
constexpr int kStepMilliseconds = 20;

void Say(const std::string& message)
{
    std::fprintf(stderr, "%svelmora-record: %s\n", isatty(STDOUT_FILENO) != 0 ? "\n" : "", message.c_str());
}

std::string OperationNames()
{
    std::string names = kState;
    for (const DeckOperation& operation : platform::kDeckOperations)
        names += std::string(", ") + operation.name;
    return names;
}

const DeckOperation* FindOperation(const std::string& name)
{
    const auto* const found = std::ranges::find(platform::kDeckOperations, name, &DeckOperation::name);
    return found == platform::kDeckOperations.end() ? nullptr : found;
}

bool IsNamed(const BusDevice& device, const std::string& name)
{
    return name.empty() || device.name == name || platform::DvIdentityOf(device.guid) == name;
}

// Finds the first usable deck of that name or identity. `problem` says why there is none.
std::optional<BusDevice> FindDeck(platform::Bus& bus, const std::string& name, std::string& problem)
{
    const auto until = std::chrono::steady_clock::now() + kWaitForDeck;
    for (;;) {
        std::string names;
        for (const BusDevice& device : bus.Devices()) {
            names += (names.empty() ? "" : ", ") + device.name;
            if (IsNamed(device, name) && device.reason.empty())
                return device;
            if (IsNamed(device, name))
                problem = device.name + ": " + device.reason;
        }
        if (problem.empty() && std::chrono::steady_clock::now() >= until)
            problem = names.empty() ? "there is no deck on FireWire"
                                    : "there is no deck \"" + name + "\" on FireWire; there is " + names;
        if (!problem.empty())
            return std::nullopt;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
}

ExitCode OperateDeck(platform::Deck deck, const std::string& name, const std::string& wanted)
{
    const DeckOperation* const operation = FindOperation(wanted);
    if (operation != nullptr) {
        const platform::Result result = deck.Do(*operation);
        if (result != platform::noErr)
            Say(name + (result == platform::ioErr ? " does not respond" : " rejected \"" + wanted + "\""));
        return result == platform::noErr ? ExitCode::Recorded : ExitCode::Failed;
    }
    const auto state = deck.State();
    if (!state) {
        Say(name + " does not respond");
        return ExitCode::Failed;
    }
    const auto timecode = deck.Timecode();
    std::printf("%s: %s%s\n", name.c_str(), state->Name().c_str(),
                timecode ? (", " + platform::TextOf(*timecode)).c_str() : "");
    return ExitCode::Recorded;
}

// File names show the time of the camera's clock, which `OutputNames` treats as a time of this machine.
std::time_t LocalTimeOf(platform::TapeTime time)
{
    const std::time_t shown = time;
    std::tm parts{};
    gmtime_r(&shown, &parts);
    parts.tm_isdst = -1;
    return std::mktime(&parts);
}

TapeOutputs OutputsOf(const RecordCommand& command)
{
    TapeOutputs outputs{
        .splitRecordings = command.tape.splitRecordings, .dvFile = command.tape.dvFile, .replace = command.force};
    if (!command.output.empty())
        outputs.movieName = [pattern = command.output, splits = command.tape.splitRecordings](int number,
                                                                                              platform::TapeTime time) {
            const OutputNames names(pattern, splits || number > 1);
            return std::filesystem::absolute(names.Name(number, LocalTimeOf(time))).string();
        };
    return outputs;
}

void ShowProgress(const TapeRecorder& recorder)
{
    if (recorder.Writer().Files().empty())
        return;
    const TapeFileReport& file = recorder.Writer().Files().back();
    const auto& newest = recorder.Writer().Newest();
    std::printf("%sfile %zu  %.1f s  %lld lost  %lld incomplete  %lld concealed%s%s%s",
                isatty(STDOUT_FILENO) != 0 ? "\r" : "", recorder.Writer().Files().size(), file.Seconds(),
                static_cast<long long>(file.lost), static_cast<long long>(file.incomplete),
                static_cast<long long>(file.concealed),
                newest.timecode ? ("  tape " + platform::TextOf(*newest.timecode)).c_str() : "",
                newest.recorded ? ("  " + platform::TextOf(*newest.recorded)).c_str() : "",
                isatty(STDOUT_FILENO) != 0 ? "\033[K" : "\n");
    std::fflush(stdout);
}

bool WriteReport(const std::string& path, const TapeRecorder& recorder)
{
    QJsonArray files;
    for (const TapeFileReport& file : recorder.Writer().Files())
        files.append(JsonOf(file));
    const QJsonObject report{{"ended", QString::fromStdString(recorder.Reason())}, {"files", files}};
    std::ofstream out(path);
    out << QJsonDocument(report).toJson(QJsonDocument::Indented).toStdString();
    out.flush();
    return out.good();
}

ExitCode CodeOf(const TapeRecorder& recorder)
{
    switch (recorder.Ended()) {
    case TapeRecorder::Outcome::Recorded:
        return ExitCode::Recorded;
    case TapeRecorder::Outcome::Unwritable:
        return recorder.Writer().Failure() == platform::dskFulErr ? ExitCode::DiskFull : ExitCode::Unwritable;
    case TapeRecorder::Outcome::NoDeck:
    case TapeRecorder::Outcome::NoPicture:
        break;
    }
    return recorder.Writer().Files().empty() ? ExitCode::NoDevice : ExitCode::Failed;
}

// Prints how the recording ended and a report of each file.
ExitCode Report(const TapeRecorder& recorder, const std::string& reportFile)
{
    const ExitCode code = CodeOf(recorder);
    if (code == ExitCode::Recorded)
        std::printf("%s%s\n", isatty(STDOUT_FILENO) != 0 ? "\n" : "", recorder.Reason().c_str());
    else
        Say(recorder.Reason());
    for (const TapeFileReport& file : recorder.Writer().Files())
        std::fputs(TextOf(file).c_str(), stdout);
    if (reportFile.empty() || WriteReport(reportFile, recorder))
        return code;
    Say("can't write " + reportFile);
    return code == ExitCode::Recorded ? ExitCode::Unwritable : code;
}

ExitCode RecordTape(const std::shared_ptr<platform::Bus>& bus, const BusDevice& device, const RecordCommand& command)
{
    const TapeCommand& tape = command.tape;
    TapeRecorder recorder(
        bus, device,
        {.rewind = tape.rewind, .play = tape.play, .signalSeconds = tape.signalSeconds, .seconds = command.seconds},
        OutputsOf(command));
    const auto application = framework::Application::Instance();
    QTimer steps, progress;
    QObject::connect(&steps, &QTimer::timeout, [&] {
        if (recorder.Step() == TapeRecorder::State::Done)
            application->Quit();
    });
    QObject::connect(&progress, &QTimer::timeout, [&] { ShowProgress(recorder); });
    application->TerminationRequested = [&](framework::Termination) {
        recorder.Finish();
        application->Quit();
    };
    steps.start(kStepMilliseconds);
    progress.start(1000);
    framework::RunEventLoop();
    application->TerminationRequested = nullptr;
    recorder.Finish();
    return Report(recorder, command.reportFile);
}

} // namespace

OptionGroup TapeOptions(TapeCommand& command)
{
    const auto flag = [](bool& field) { return [&field](const std::string&) { return field = true; }; };
    const auto text = [](std::string& field) {
        return [&field](std::string value) {
            field = std::move(value);
            return !field.empty();
        };
    };
    const auto takeSignal = [&command](const std::string& value) {
        return ReadNumber(value, command.signalSeconds) && command.signalSeconds >= 1 && command.signalSeconds <= 3600;
    };
    const auto takeDeck = [&command](const std::string& value) {
        command.deck = value;
        return value == kState || FindOperation(value) != nullptr;
    };
    return {"Tapes",
            {{"tape", "", "record a tape from a deck or camcorder on FireWire, to its end", "", flag(command.record)},
             {"rewind", "", "rewind the tape first", "", flag(command.rewind)},
             {"play", "", "start the deck, and stop it at the end", "", flag(command.play)},
             {"split-recordings", "", "a movie for each recording on the tape, by its dates", "",
              flag(command.splitRecordings)},
             {"dv", "FILE", "write the frames unchanged to a raw DV file; OUTPUT may be\nomitted", "a file",
              text(command.dvFile)},
             {"no-signal", "N", "end after N seconds without a picture; default: 10", "a number from 1 to 3600",
              takeSignal},
             {"deck", "OPERATION", "operate the deck and exit: state, play, stop, pause, rewind, ...", OperationNames(),
              takeDeck}}};
}

std::string ContradictionIn(const TapeCommand& command)
{
    if (command.record && !command.deck.empty())
        return "--deck can't be used with --tape";
    const std::pair<bool, const char*> aboutTape[] = {{command.rewind, "--rewind"},
                                                      {command.play, "--play"},
                                                      {command.splitRecordings, "--split-recordings"},
                                                      {!command.dvFile.empty(), "--dv"}};
    for (const auto& [given, name] : aboutTape)
        if (given && !command.record)
            return std::string(name) + " requires --tape";
    return {};
}

ExitCode RunTape(const RecordCommand& command)
{
    const auto bus = platform::OpenBus();
    std::string problem = bus ? "" : "there is no FireWire adapter, or its driver is not loaded";
    const auto device = bus ? FindDeck(*bus, command.camera, problem) : std::nullopt;
    if (!device) {
        Say(problem);
        return ExitCode::NoDevice;
    }
    return command.tape.deck.empty() ? RecordTape(bus, *device, command)
                                     : OperateDeck(platform::Deck(bus, device->guid), device->name, command.tape.deck);
}

} // namespace velmora
