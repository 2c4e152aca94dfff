#include "record/RecordCommand.h"

#include <charconv>
#include <cstring>
#include <string_view>

namespace velmora {
namespace {

template <typename T> bool ReadNumber(std::string_view text, T& value)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size();
}

bool ReadSize(std::string_view text, RecordCommand& command)
{
    const size_t cross = text.find('x');
    return cross != std::string_view::npos && ReadNumber(text.substr(0, cross), command.width) &&
           ReadNumber(text.substr(cross + 1), command.height) && command.width > 0 && command.height > 0;
}

// Takes one option with its value; false when the value makes no sense.
bool TakeValue(std::string_view option, const char* value, RecordCommand& command)
{
    if (value == nullptr)
        return false;
    if (option == "--seconds")
        return ReadNumber(std::string_view(value), command.seconds) && command.seconds > 0;
    if (option == "--size")
        return ReadSize(value, command);
    command.settingsFile = value;
    return true;
}

} // namespace

std::optional<RecordCommand> ReadCommandLine(int argc, char** argv, std::string& problem)
{
    RecordCommand command;
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (argument == "--help") {
            command.help = true;
        } else if (argument == "--list-devices") {
            command.listDevices = true;
        } else if (argument == "--live") {
            command.live = true;
        } else if (argument == "--seconds" || argument == "--size" || argument == "--settings") {
            if (!TakeValue(argument, i + 1 < argc ? argv[++i] : nullptr, command)) {
                problem = std::string(argument) + " needs a value that makes sense";
                return std::nullopt;
            }
        } else if (argument.starts_with("--")) {
            problem = "unknown option " + std::string(argument);
            return std::nullopt;
        } else if (!command.output.empty()) {
            problem = "more than one output: " + command.output + " and " + std::string(argument);
            return std::nullopt;
        } else {
            command.output = argument;
        }
    }
    if (command.output.empty() && !command.help && !command.listDevices) {
        problem = "no output named";
        return std::nullopt;
    }
    return command;
}

const char* UsageText()
{
    return "Usage: velmora-record [--seconds N] [--size WxH] [--settings FILE] [--live] OUTPUT.mov\n"
           "       velmora-record --list-devices\n"
           "\n"
           "Records the video and sound device in use to a QuickTime movie. Ctrl-C finishes the movie.\n"
           "\n"
           "  --seconds N      stop after N seconds\n"
           "  --size WxH       ask the camera for that size; the nearest that it has is taken\n"
           "  --settings FILE  use settings saved by the window's File menu\n"
           "  --live           decode the live picture as well, as the window does\n"
           "  --list-devices   show the devices and end\n"
           "\n"
           "Exit codes: 0 recorded, 1 wrong use, 2 no device, 3 the file can't be written, 4 the disk is full,\n"
           "5 the recording failed otherwise.\n";
}

} // namespace velmora
