// SPDX-License-Identifier: MIT
// The options of velmora-record. A function makes each group of the help; what needs more than one option to be judged
// is judged when all have been read.
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

constexpr double kLongestSeconds = 1e9;

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
    return {
        "Devices",
        {{"camera", "NAME|ID", "use that camera; \"Test Pattern\" is the built-in one", "a camera's name or ID",
          Text(command.camera)},
         {"microphone", "NAME|ID", "use that microphone; none: the picture alone; \"Test\nTone\" is the built-in one",
          "a microphone's name or ID, or none", Text(command.microphone)},
         {"size", "WxH", "ask the camera for that size; the nearest that it has is taken",
          "width and height such as 1280x720", takeSize},
         {"rate", "N", "frames a second; the nearest that the camera has is taken", "a number from 0.01 to 1000",
          NumberIn(command.frameRate, 0.01, 1000.0)},
         {"format", "FORMAT", "what the camera sends, such as MJPG or yuvs", "a format of the camera (see --list)",
          Text(command.frameFormat)},
         {"set", "CONTROL=VALUE",
          "an image control by its name; VALUE is a number, a choice of\nits menu, on or off; "
          "once for each control",
          "a control's name, = and a value", takeControl, true}}};
}

OptionGroup CompressionOptions(RecordCommand& command)
{
    return {"Compression",
            {{"codec", "CODEC", "compressor of the picture, such as avc1 or FFV1", "a compressor (see --list)",
              Text(command.codec)},
             {"quality", "N", "of the compressor, 0 to 100", "a whole number from 0 to 100",
              NumberIn(command.quality, 0, 100)},
             {"key-frames", "N", "a key frame each N frames; 0: as is usual", "a whole number from 0 to 65535",
              NumberIn(command.keyFrames, 0, 65535)}}};
}

OptionGroup SoundOptions(RecordCommand& command)
{
    const auto takeBits = [&command](const std::string& text) {
        return ReadNumber(text, command.soundBits) &&
               (command.soundBits == 8 || command.soundBits == 16 || command.soundBits == 24);
    };
    return {"Sound",
            {{"sound-rate", "N", "samples a second", "a whole number from 8000 to 48000",
              NumberIn(command.soundRate, 8000, 48000)},
             {"sound-bits", "N", "of a sample: 8, 16 or 24", "8, 16 or 24", takeBits},
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
             {"save-settings", "FILE", "save what the other options choose; OUTPUT may be left out", "a file",
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
        {{"seconds", "N", "stop after N seconds", "a positive number",
          NumberIn(command.seconds, 1e-3, kLongestSeconds)},
         {"frames", "N", "stop after N frames", "a whole number above 0",
          NumberIn(command.frames, int64_t{1}, INT64_MAX)},
         {"start-at", "TIME", "wait until 20:15, 20:15:30 or \"2026-12-31 20:15\"",
          "a time to come such as 20:15 or \"2026-12-31 20:15:30\"", takeStart},
         {"split-seconds", "N", "go on in another file each N seconds", "a number from 1 on",
          NumberIn(command.splitSeconds, 1.0, kLongestSeconds)},
         {"split-size", "BYTES", "go on in another file before one is larger; K, M and G\nare powers of 1024",
          "a size from 1M on, such as 650M or 4G", takeSplitSize},
         {"force", "", "replace OUTPUT if it exists", "", Flag(command.force)},
         {"report", "FILE", "write JSON about the recording: lost frames, durations,\ndrift, device changes, checksums",
          "a file", Text(command.reportFile)},
         {"live", "", "decode the live picture as well, as the window does", "", Flag(command.live)}}};
}

OptionGroup InformationOptions(RecordCommand& command)
{
    return {"Information",
            {{"list", "", "show cameras, microphones, decks and compressors, and end", "", Flag(command.list)},
             {"json", "", "the same as JSON", "",
              [&command](const std::string&) { return command.json = command.list = true; }},
             {"list-devices", "", "the same as --list", "", Flag(command.list)},
             {"help", "", "show this text and end", "", Flag(command.help)},
             {"version", "", "show the version and end", "", Flag(command.version)}}};
}

CommandLine Options(RecordCommand& command)
{
    return CommandLine({DeviceOptions(command), CompressionOptions(command), SoundOptions(command),
                        SettingsOptions(command), CourseOptions(command), TapeOptions(command.tape),
                        InformationOptions(command)});
}

// A control that is set twice, and sound options without sound.
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
        return "--list records nothing: " + command.output + " is one name too many";
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
           "Records the camera and the microphone in use to a QuickTime movie. Ctrl-C finishes the movie. In OUTPUT, "
           "%Y "
           "%m\n"
           "%d %H %M %S stand for the time of its beginning, %n for a number of three digits, %% for a percent "
           "sign.\n" +
           Options(unused).Help() +
           "  --                      what follows is the output, whatever it begins with\n"
           "\n"
           "Without a camera nothing is recorded; without a microphone, the picture alone.\n"
           "\n"
           "Exit codes: 0 recorded, 1 wrong use, 2 no device or no picture, 3 the file can't be written, 4 the disk "
           "is\n"
           "full, 5 the recording failed otherwise.\n";
}

} // namespace velmora
