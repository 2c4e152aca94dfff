// SPDX-License-Identifier: MIT
#include "app/App.h"

#include "app/CommandAnswers.h"
#include "app/FileTypes.h"
#include "app/RecordingWatch.h"
#include "capture/VelmoraCanvas.h"
#include "framework/Window.h"
#include "ui/Guide.h"
#include "ui/MenuBar1.h"
#include "ui/MovieWindow.h"

// The process from its start to its end. Modules hold what outlives a window: the windows by name, the file types, the
// menu bar, the controls by key, the timers. None of it is created or released by static objects, because most of it
// needs the framework's runtime; `_InitialiseModules` and `_FinaliseModules` bracket `_Main` instead.

namespace velmora {

framework::Reference<App> App::Instance()
{
    return framework::Reference<App>(std::dynamic_pointer_cast<App>(framework::Application::Instance()));
}

void _NewAppInstance()
{
    framework::SetProgramName("Velmora", "velmora");
    UseInstalledGuide();
    const auto app = std::make_shared<App>();
    app->MenuBar(MenuBar1::Instance());
    framework::RegisterApplication(app);
}

void _ApplicationAddMenuHandlers() {}

void _MakeDefaultView()
{
    MovieWindow::Instance();
}

int _Main()
{
    _InitFileTypes();
    _NewAppInstance();
    _ApplicationAddMenuHandlers();
    _MakeDefaultView();
    const CommandAnswers answers(MovieWindow::Instance());
    const RecordingWatch watch(MovieWindow::Instance());
    return framework::RunEventLoop();
}

void _InitialiseModules()
{
    CarbonTimer::timers = std::make_unique<std::vector<framework::Reference<CarbonTimer>>>();
}

// Windows are released first, since closing them still uses the menu bar and the controls. The controls and the timers
// refer to each other and are released last.
void _FinaliseModules()
{
    framework::ReleaseImplicitWindows();
    FileTypes::pText = nullptr;
    FileTypes::pDv = nullptr;
    MenuBar1::Release();
    VelmoraCanvas::SeqGrabbers = nullptr;
    CarbonTimer::timers.reset();
}

} // namespace velmora
