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
    // A closed pipe or a file size limit must not end the process and its recording: let the calls fail instead.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    framework::RegisterApplication(std::make_shared<framework::Application>());
    CarbonTimer::timers = std::make_unique<std::vector<Reference<CarbonTimer>>>();
    platform::StartPlatform();
}

CaptureRuntime::~CaptureRuntime()
{
    // Controls and timers refer to each other. Release the tables that hold them before the platform that they call.
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
    framework::Application::Instance()->Quit();
}

} // namespace velmora
