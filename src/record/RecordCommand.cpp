// SPDX-License-Identifier: MIT
// The options of velmora-record. Each group of the help has a function; combinations of options are checked after all
// options have been read.
#include "record/RecordCommand.h"

#include "record/CommandLine.h"
#include "record/OptionValues.h"
#include "record/OutputNames.h"

#include <algorithm>

namespace velmora {
namespace {

using Taker = std::function<bool(std::string)>;

Taker Text(std::string& field)
{
    return [&field](std::string text) {
        field = std::move(text);
        return !field.empty();
    };
}

Taker Flag(bool& field)
{
    return [&field](const std::string&) { return field = true; };
}

template <typename Field, typename Number> Taker NumberIn(Field& field, Number lowest, Number highest)
{
    return [&field, lowest, highest](const std::string& text) {
        Number number{};
        if (!ReadNumber(text, number) || !(number >= lowest && number <= highest))
            return false;
        field = number;
        return true;
    };
}

constexpr double kMaxSeconds = 1e9;

OptionGroup DeviceOptions(RecordCommand& command)
{
    const auto takeControl = [&command](const std::string& text) {
        const size_t sign = text.find('=');
        if (sign == std::string::npos || sign == 0 || sign + 1 == text.size())
            return false;
        command.controls.emplace_back(text.substr(0, sign), text.substr(sign + 1));
        return true;
    };
    const auto takeSize = [&command](const std::string& text) { return ReadSize(text, command.width, command.height); };
    return {"Devices",
            {{"camera", "NAME|ID", "use that camera; \"Test Pattern\" is the built-in one", "a camera's name or ID",
              Text(command.camera)},
             {"microphone", "NAME|ID", "use that microphone; none: no sound; \"Test Tone\" is the\nbuilt-in one",
              "a microphone's name or ID, or none", Text(command.microphone)},
             {"size", "WxH", "size of the frames; the nearest that the camera supports is used",
              "width and height such as 1280x720", takeSize},
             {"rate", "N", "frames per second; the nearest that the camera supports is used",
              "a number from 0.01 to 1000", NumberIn(command.frameRate, 0.01, 1000.0)},
             {"format", "FORMAT", "format of the camera's frames, such as MJPG or yuvs",
              "a format of the camera (see --list)", Text(command.frameFormat)},
             {"set", "CONTROL=VALUE",
              "an image control by its name; VALUE is a number, a choice of\nits menu, on or off; "
              "once for each control",
              "a control's name, = and a value", takeControl, true}}};
}

OptionGroup CompressionOptions(RecordCommand& command)
{
    return {
        "Compression",
        {{"codec", "CODEC", "video compressor, such as avc1 or FFV1", "a compressor (see --list)", Text(command.codec)},
         {"quality", "N", "of the compressor, 0 to 100", "a whole number from 0 to 100",
          NumberIn(command.quality, 0, 100)},
         {"key-frames", "N", "a key frame every N frames; 0: the compressor's default",
          "a whole number from 0 to 65535", NumberIn(command.keyFrames, 0, 65535)}}};
}

OptionGroup SoundOptions(RecordCommand& command)
{
    const auto takeBits = [&command](const std::string& text) {
        return ReadNumber(text, command.soundBits) &&
               (command.soundBits == 8 || command.soundBits == 16 || command.soundBits == 24);
    };
    return {"Sound",
            {{"sound-rate", "N", "sample rate in hertz", "a whole number from 8000 to 48000",
              NumberIn(command.soundRate, 8000, 48000)},
             {"sound-bits", "N", "bits per sample: 8, 16 or 24", "8, 16 or 24", takeBits},
             {"sound-codec", "CODEC", "sowt, twos, raw, ulaw or alaw", "sowt, twos, raw, ulaw or alaw",
              [&command](std::string text) {
                  text.resize(std::max<size_t>(text.size(), 4), ' ');
                  command.soundCodec = text;
                  constexpr const char* kKnown[] = {"sowt", "twos", "raw ", "ulaw", "alaw"};
                  return std::ranges::find(kKnown, text) != std::end(kKnown);
              }},
             {"channels", "N", "1 or 2", "1 or 2", NumberIn(command.channels, 1, 2)},
             {"gain", "N", "0 to 4; 1 is the microphone's normal level", "a number from 0 to 4",
              NumberIn(command.gain, 0.0, 4.0)}}};
}

OptionGroup SettingsOptions(RecordCommand& command)
{
    return {"Settings",
            {{"settings", "FILE", "use settings saved by the window's File menu or\n--save-settings", "a file",
              Text(command.settingsFile)},
             {"save-settings", "FILE", "save the resulting settings; OUTPUT may be omitted", "a file",
              Text(command.savedSettingsFile)}}};
}

OptionGroup CourseOptions(RecordCommand& command)
{
    const auto takeStart = [&command](const std::string& text) {
        command.startAt = ReadTime(text);
        return command.startAt.has_value();
    };
    const auto takeSplitSize = [&command](const std::string& text) {
        constexpr int64_t kSmallest = 1 << 20;
        return ReadBytes(text, command.splitBytes) && command.splitBytes >= kSmallest;
    };
    return {
        "Recording",
        {{"seconds", "N", "stop after N seconds", "a positive number", NumberIn(command.seconds, 1e-3, kMaxSeconds)},
         {"frames", "N", "stop after N frames", "a whole number above 0",
          NumberIn(command.frames, int64_t{1}, INT64_MAX)},
         {"start-at", "TIME", "wait until 20:15, 20:15:30 or \"2026-12-31 20:15\"",
          "a future time such as 20:15 or \"2026-12-31 20:15:30\"", takeStart},
         {"split-seconds", "N", "start a new file every N seconds", "a number of at least 1",
          NumberIn(command.splitSeconds, 1.0, kMaxSeconds)},
         {"split-size", "BYTES", "start a new file before one gets larger; K, M and G are\npowers of 1024",
          "a size of at least 1M, such as 650M or 4G", takeSplitSize},
         {"force", "", "replace OUTPUT if it exists", "", Flag(command.force)},
         {"report", "FILE", "write JSON about the recording: lost frames, durations,\ndrift, device changes, checksums",
          "a file", Text(command.reportFile)},
         {"live", "", "also decode the live picture, as the window does", "", Flag(command.live)}}};
}

OptionGroup InformationOptions(RecordCommand& command)
{
    return {"Information",
            {{"list", "", "list cameras, microphones, decks and compressors and exit", "", Flag(command.list)},
             {"json", "", "the same as JSON", "",
              [&command](const std::string&) { return command.json = command.list = true; }},
             {"list-devices", "", "the same as --list", "", Flag(command.list)},
             {"help", "", "show this text and exit", "", Flag(command.help)},
             {"version", "", "show the version and exit", "", Flag(command.version)}}};
}

CommandLine Options(RecordCommand& command)
{
    return CommandLine({DeviceOptions(command), CompressionOptions(command), SoundOptions(command),
                        SettingsOptions(command), CourseOptions(command), TapeOptions(command.tape),
                        InformationOptions(command)});
}

// Reports a control that is set twice, and sound options without sound.
std::string Contradiction(const RecordCommand& command)
{
    std::vector<std::string> names;
    for (const auto& [name, value] : command.controls) {
        if (std::ranges::find(names, name) != names.end())
            return "--set: " + name + " is given twice";
        names.push_back(name);
    }
    const std::pair<bool, const char*> aboutSound[] = {{command.soundRate > 0, "--sound-rate"},
                                                       {command.soundBits > 0, "--sound-bits"},
                                                       {!command.soundCodec.empty(), "--sound-codec"},
                                                       {command.channels > 0, "--channels"},
                                                       {command.gain.has_value(), "--gain"}};
    for (const auto& [given, name] : aboutSound)
        if (given && command.microphone == kNoMicrophone)
            return std::string(name) + ": there is no sound with --microphone none";
    const bool isLaw = command.soundCodec == "ulaw" || command.soundCodec == "alaw";
    if (isLaw && command.soundBits > 0 && command.soundBits != 16)
        return "--sound-bits: expected 16 with --sound-codec " + command.soundCodec + ", got \"" +
               std::to_string(command.soundBits) + "\"";
    return {};
}

std::string TakeOutput(const std::vector<std::string>& names, RecordCommand& command)
{
    const bool recordsNothing = command.list || command.help || command.version || command.tape.NeedsNoMovie();
    if (names.empty())
        return recordsNothing || !command.savedSettingsFile.empty() ? "" : "no output named";
    if (names.front().empty())
        return "the output's name is empty";
    if (names.size() > 1)
        return "more than one output: " + names[0] + " and " + names[1];
    command.output = names.front();
    if (command.list)
        return "--list records nothing, but an output is given: " + command.output;
    return OutputNames::Problem(command.output);
}

} // namespace

std::optional<RecordCommand> ReadCommandLine(int argc, char** argv, std::string& problem)
{
    RecordCommand command;
    CommandLine line = Options(command);
    if (line.Read(argc, argv, problem) && !command.help && !command.version) {
        problem = Contradiction(command);
        if (problem.empty())
            problem = ContradictionIn(command.tape);
        if (problem.empty())
            problem = TakeOutput(line.Names(), command);
    }
    return problem.empty() ? std::optional(command) : std::nullopt;
}

std::string UsageText()
{
    RecordCommand unused;
    return "Usage: velmora-record [OPTION...] OUTPUT.mov\n"
           "       velmora-record --list [--json]\n"
           "       velmora-record --tape [--rewind] [--play] [--dv FILE.dv] [OPTION...] [OUTPUT.mov]\n"
           "       velmora-record --deck OPERATION\n"
           "\n"
           "Records a camera and a microphone to a QuickTime movie. Ctrl-C finishes the movie. In OUTPUT, %Y %m %d %H "
           "%M\n"
           "%S are replaced by the time at which the file starts, %n by a number of three digits, %% by a percent "
           "sign.\n" +
           Options(unused).Help() +
           "  --                      the next argument is the output, even if it starts with -\n"
           "\n"
           "Without a camera nothing is recorded; without a microphone the movie has no sound.\n"
           "\n"
           "Exit codes: 0 recorded, 1 usage error, 2 no device or no picture, 3 the file can't be written, 4 the disk "
           "is\n"
           "full, 5 the recording failed for another reason.\n";
}

} // namespace velmora
