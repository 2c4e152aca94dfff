// SPDX-License-Identifier: MIT
#include "record/RecordCommand.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>
#include <string_view>

namespace velmora {
namespace {

template <typename T> bool ReadNumber(std::string_view text, T& value)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size();
}

bool ReadSeconds(std::string_view text, RecordCommand& command)
{
    return ReadNumber(text, command.seconds) && std::isfinite(command.seconds) && command.seconds > 0;
}

bool ReadSize(std::string_view text, RecordCommand& command)
{
    const size_t cross = text.find('x');
    return cross != std::string_view::npos && ReadNumber(text.substr(0, cross), command.width) &&
           ReadNumber(text.substr(cross + 1), command.height) && command.width > 0 && command.height > 0;
}

template <std::string RecordCommand::*field> bool ReadText(std::string_view text, RecordCommand& command)
{
    command.*field = text;
    return !text.empty();
}

struct ValueOption {
    std::string_view name;
    const char* expected;
    bool (*read)(std::string_view value, RecordCommand& command);
};

constexpr ValueOption kValueOptions[] = {
    {"--seconds", "a positive number", ReadSeconds},
    {"--size", "width and height such as 1280x720", ReadSize},
    {"--camera", "a camera's name", ReadText<&RecordCommand::camera>},
    {"--microphone", "a microphone's name or none", ReadText<&RecordCommand::microphone>},
    {"--settings", "a file", ReadText<&RecordCommand::settingsFile>},
};

struct Switch {
    std::string_view name;
    bool RecordCommand::*field;
};

constexpr Switch kSwitches[] = {
    {"--help", &RecordCommand::help},
    {"--list-devices", &RecordCommand::listDevices},
    {"--force", &RecordCommand::force},
    {"--live", &RecordCommand::live},
};

// Empty, or what is wrong with the value.
std::string TakeValue(const ValueOption& option, const char* value, RecordCommand& command)
{
    if (value != nullptr && option.read(value, command))
        return {};
    return std::string(option.name) + ": expected " + option.expected +
           (value == nullptr ? "" : ", got \"" + std::string(value) + "\"");
}

std::string TakeOutput(std::string_view argument, RecordCommand& command)
{
    if (argument.empty())
        return "the output's name is empty";
    if (!command.output.empty())
        return "more than one output: " + command.output + " and " + std::string(argument);
    command.output = argument;
    return {};
}

} // namespace

std::optional<RecordCommand> ReadCommandLine(int argc, char** argv, std::string& problem)
{
    RecordCommand command;
    bool optionsEnded = false;
    for (int i = 1; i < argc && problem.empty(); ++i) {
        const std::string_view argument = argv[i];
        const auto valued = std::ranges::find(kValueOptions, argument, &ValueOption::name);
        const auto plain = std::ranges::find(kSwitches, argument, &Switch::name);
        if (optionsEnded || !argument.starts_with("--"))
            problem = TakeOutput(argument, command);
        else if (argument == "--")
            optionsEnded = true;
        else if (valued != std::end(kValueOptions))
            problem = TakeValue(*valued, i + 1 < argc ? argv[++i] : nullptr, command);
        else if (plain != std::end(kSwitches))
            command.*(plain->field) = true;
        else
            problem = "unknown option " + std::string(argument);
    }
    if (problem.empty() && command.output.empty() && !command.help && !command.listDevices)
        problem = "no output named";
    return problem.empty() ? std::optional(command) : std::nullopt;
}

const char* UsageText()
{
    return "Usage: velmora-record [OPTION...] OUTPUT.mov\n"
           "       velmora-record --list-devices\n"
           "\n"
           "Records the camera and the microphone in use to a QuickTime movie. Ctrl-C finishes the movie.\n"
           "\n"
           "  --seconds N         stop after N seconds\n"
           "  --size WxH          ask the camera for that size; the nearest that it has is taken\n"
           "  --camera NAME       use that camera; \"Test Pattern\" is the built-in one\n"
           "  --microphone NAME   use that microphone; none: the picture alone; \"Test Tone\" is the built-in one\n"
           "  --settings FILE     use settings saved by the window's File menu\n"
           "  --force             replace OUTPUT if it exists\n"
           "  --live              decode the live picture as well, as the window does\n"
           "  --list-devices      show the devices and end\n"
           "  --                  what follows is the output, whatever it begins with\n"
           "\n"
           "Without a camera nothing is recorded; without a microphone, the picture alone.\n"
           "\n"
           "Exit codes: 0 recorded, 1 wrong use, 2 no device or no picture, 3 the file can't be written, 4 the disk "
           "is\n"
           "full, 5 the recording failed otherwise.\n";
}

} // namespace velmora
