// SPDX-License-Identifier: MIT
#include "library/CaptureRuntime.h"

#include "capture/CarbonTimer.h"
#include "capture/VelmoraCanvas.h"
#include "framework/Application.h"
#include "platform/Platform.h"

#include <csignal>

namespace velmora {

CaptureRuntime::CaptureRuntime(int& argc, char** argv, bool needsDisplay)
{
    framework::StartRuntime(argc, argv, needsDisplay);
    // A reader that goes away and a limit to the size of files must not end a recording: the calls fail instead.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    framework::RegisterApplication(std::make_shared<framework::Application>());
    CarbonTimer::timers = std::make_unique<std::vector<Reference<CarbonTimer>>>();
    platform::StartPlatform();
}

CaptureRuntime::~CaptureRuntime()
{
    // Controls and timers refer to each other: the tables that hold them go before the platform they call.
    VelmoraCanvas::SeqGrabbers = nullptr;
    CarbonTimer::timers.reset();
    platform::EndPlatform();
    framework::EndRuntime();
}

int CaptureRuntime::Run()
{
    return framework::RunEventLoop();
}

void CaptureRuntime::Quit()
{
    framework::TheApplication()->Quit();
}

} // namespace velmora
