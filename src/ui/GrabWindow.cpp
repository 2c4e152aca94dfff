// SPDX-License-Identifier: MIT
#include "ui/GrabWindow.h"

#include "framework/Date.h"

namespace velmora {

framework::Reference<GrabWindow> GrabWindow::Instance()
{
    const auto window =
        framework::_GetImplicitWindow("GrabWindow.GrabWindow", [] { return std::make_shared<GrabWindow>(); });
    return framework::Reference<GrabWindow>(std::dynamic_pointer_cast<GrabWindow>(window));
}

void GrabWindow::Layout()
{
    Width(640);
    Height(480);
    Frame = Floating;
    Resizeable = false;
    LiveResize = false;
    MaximizeButton = false;
}

void GrabWindow::CreateControls()
{
    _CreateControls0();
}

// The canvas has no handler and draws nothing: the backdrop is visible through it.
void GrabWindow::_CreateControls0()
{
    auto* canvas = Add<framework::Canvas>("Canvas1");
    canvas->Place(0, 0, 640, 480);
    canvas->AccessibleName("Grabbed Picture");
    canvas->UseFocusRing = true;
    canvas->AcceptFocus = false;
    canvas->AcceptTabs = false;
}

void GrabWindow::AddMenuHandlers()
{
    _AddMenuHandler("FileClose", [this] { return _FileClose_Action(); });
}

void GrabWindow::Event_Open()
{
    Title(framework::Date().LongDate());
}

bool GrabWindow::_FileClose_Action()
{
    Close();
    return false;
}

} // namespace velmora
