// SPDX-License-Identifier: MIT
#include "app/App.h"
#include "platform/Platform.h"

#include <chrono>
#include <csignal>
#include <exception>

namespace {

// For the release of the devices, behind which nothing is left to save.
constexpr std::chrono::seconds kLongestEnd{5};

} // namespace

int main(int argc, char** argv)
{
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
        framework::System::Log(3, framework::String("Velmora ends: ") + exception.what());
    }
    platform::EndWithin(kLongestEnd, exitCode);
    velmora::_FinaliseModules();
    platform::EndPlatform();
    framework::EndRuntime();
    return framework::ExitStatus(exitCode);
}
