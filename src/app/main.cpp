// SPDX-License-Identifier: MIT
#include "Version.h"
#include "app/App.h"
#include "platform/Platform.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <string_view>

namespace {

// Time to release the devices; everything is saved by then.
constexpr std::chrono::seconds kMaxEndTime{5};

constexpr const char* kHelp = "Usage: velmora [--help | --version]\n"
                              "Shows a camera's live picture and records it with sound to a QuickTime movie.\n"
                              "To record from a terminal, see velmora-record.\n";

/// Answers an option that only prints a text, which needs no display. Returns false if the window should open.
bool AnswerOption(std::string_view option)
{
    if (option == "--version")
        std::printf("velmora %s\n", velmora::kVersion);
    else if (option == "--help" || option == "-h")
        std::fputs(kHelp, stdout);
    else
        return false;
    return true;
}

// Without a display Qt would end the process by a signal.
bool HasNoDisplay()
{
    const auto isSet = [](const char* name) {
        const char* value = std::getenv(name);
        return value != nullptr && *value != 0;
    };
    return !isSet("DISPLAY") && !isSet("WAYLAND_DISPLAY") && !isSet("QT_QPA_PLATFORM");
}

int Refuse(const std::string& reason, int exitCode)
{
    std::fprintf(stderr, "velmora: %s\n", reason.c_str());
    return exitCode;
}

} // namespace

int main(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i)
        if (AnswerOption(argv[i]))
            return 0;
    if (HasNoDisplay())
        return Refuse("there is no display to open the window on. velmora-record records from a terminal.", 1);
    framework::StartRuntime(argc, argv);
    if (argc > 1)
        return Refuse("unexpected argument '" + std::string(argv[1]) + "'. See velmora --help.", 2);
    framework::HandleTerminationSignals();
    // Let writes fail instead: the writer reports the failure, and the process must not die of it.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    platform::StartPlatform();
    velmora::_InitialiseModules();
    int exitCode = 1;
    try {
        exitCode = velmora::_Main();
    } catch (const std::exception& exception) {
        framework::System::Log(1003, framework::String("Velmora ends: ") + exception.what());
    }
    platform::EndWithin(kMaxEndTime, exitCode);
    velmora::_FinaliseModules();
    platform::EndPlatform();
    framework::EndRuntime();
    return framework::ExitStatus(exitCode);
}
