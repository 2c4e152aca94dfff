// SPDX-License-Identifier: MIT
// velmora-record: records from the command line, and lists the devices.
#include "Version.h"
#include "framework/Application.h"
#include "platform/Platform.h"
#include "record/DeviceListing.h"
#include "record/Recorder.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <csignal>
#include <cstdio>

namespace velmora {
namespace {

ExitCode List(bool asJson)
{
    const QJsonObject listing = ListEverything();
    const std::string text =
        asJson ? QJsonDocument(listing).toJson(QJsonDocument::Indented).toStdString() : ListingText(listing);
    std::fputs(text.c_str(), stdout);
    return listing["cameras"].toArray().isEmpty() ? ExitCode::NoDevice : ExitCode::Recorded;
}

ExitCode RunWithPlatform(int argc, char** argv, const RecordCommand& command)
{
    framework::StartRuntime(argc, argv, false);
    framework::RegisterApplication(std::make_shared<framework::Application>());
    CarbonTimer::timers = std::make_unique<std::vector<Reference<CarbonTimer>>>();
    framework::HandleTerminationSignals();
    // A closed pipe or a file size limit must not end the process and its recording: let the calls fail instead.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    platform::StartPlatform();
    const ExitCode code = command.list                 ? List(command.json)
                          : command.tape.IsRequested() ? RunTape(command)
                                                       : std::make_shared<Recorder>(command)->Run();
    VelmoraCanvas::SeqGrabbers = nullptr;
    CarbonTimer::timers.reset();
    platform::EndPlatform();
    framework::EndRuntime();
    return code;
}

ExitCode Main(int argc, char** argv)
{
    std::string problem;
    const auto command = ReadCommandLine(argc, argv, problem);
    if (!command) {
        std::fprintf(stderr, "velmora-record: %s\n", problem.c_str());
        return ExitCode::WrongUse;
    }
    if (command->help || command->version) {
        std::printf("%s",
                    command->help ? UsageText().c_str() : ("velmora-record " + std::string(kVersion) + "\n").c_str());
        return ExitCode::Recorded;
    }
    try {
        return RunWithPlatform(argc, argv, *command);
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "velmora-record: %s\n", exception.what());
    }
    return ExitCode::Failed;
}

} // namespace
} // namespace velmora

int main(int argc, char** argv)
{
    return static_cast<int>(velmora::Main(argc, argv));
}
