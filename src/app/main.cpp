// SPDX-License-Identifier: MIT
#include "Version.h"
#include "app/App.h"
#include "platform/Platform.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>
#include <string_view>

namespace {

// For the release of the devices, behind which nothing is left to save.
constexpr std::chrono::seconds kLongestEnd{5};

constexpr const char* kHelp = "Usage: velmora [--help | --version]\n"
                              "Shows a camera's live picture and records it with sound to a QuickTime movie.\n"
                              "To record from a terminal, see velmora-record.\n";

/// Answers an option that only asks for text; such a call needs no display. False when the window is to open.
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

} // namespace

int main(int argc, char** argv)
{
    if (argc == 2 && AnswerOption(argv[1]))
        return 0;
    framework::StartRuntime(argc, argv);
    framework::HandleTerminationSignals();
    // Failures to write, which the writer answers: nothing to die of.
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
    platform::EndWithin(kLongestEnd, exitCode);
    velmora::_FinaliseModules();
    platform::EndPlatform();
    framework::EndRuntime();
    return framework::ExitStatus(exitCode);
}
