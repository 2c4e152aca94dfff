// SPDX-License-Identifier: MIT
#include "ui/MovieWindow.h"

// The main window's layout and start. Each control is created in three steps: add it under its name, set its
// properties, set its handlers; so no handler runs for an initial value. The control's `Open` event precedes the
// window's, so the window can ask for device names in its own.
//
// What the controls do is in ui/MovieWindowBehaviour.cpp, what the menu items do in ui/MenuActions.cpp, how they look
// in ui/MenuStates.cpp.

namespace velmora {
namespace {

using framework::Anchors;
using framework::CheckBox;
using framework::ControlFont;
using framework::EditField;
using framework::PopupMenu;
using framework::ProgressBar;
using framework::PushButton;
using framework::RectControl;
using framework::StaticText;
using framework::TextAlignment;
using framework::Timer;

constexpr Anchors kBottomLeft{.left = true, .bottom = true};
constexpr Anchors kBottomRight{.right = true, .bottom = true};
constexpr Anchors kAllEdges{.left = true, .top = true, .right = true, .bottom = true};

struct Box {
    int32_t left, top, width, height;
};

void Put(RectControl& control, const Box& box, const Anchors& anchors)
{
    control.Place(box.left, box.top, box.width, box.height);
    control.LockedTo = anchors;
}

const ControlFont& BoldSystem()
{
    static const ControlFont font{"System", 11, true};
    return font;
}

StaticText* MakeLabel(framework::Window& window, const char* name, const Box& box, const char* text)
{
    auto* label = window.Add<StaticText>(name);
    Put(*label, box, kBottomLeft);
    label->Text(text);
    label->Alignment(TextAlignment::Right);
    label->Font(BoldSystem());
    return label;
}

PushButton* MakeButton(framework::Window& window, const char* name, const Box& box, const Anchors& anchors,
                       const char* caption)
{
    auto* button = window.Add<PushButton>(name);
    Put(*button, box, anchors);
    button->Caption(caption);
    button->Font(BoldSystem());
    return button;
}

PopupMenu* MakePopupMenu(framework::Window& window, const char* name, const Box& box,
                         std::initializer_list<const char*> rows)
{
    auto* menu = window.Add<PopupMenu>(name);
    Put(*menu, box, kBottomLeft);
    menu->Font(BoldSystem());
    for (const char* row : rows)
        menu->AddRow(row);
    menu->ListIndex(0);
    return menu;
}

void MakeLevelBar(framework::Window& window, const char* name, const Box& box, const char* accessibleName)
{
    auto* bar = window.Add<ProgressBar>(name);
    Put(*bar, box, kBottomLeft);
    bar->AccessibleName(accessibleName);
    bar->Maximum(100);
    bar->Value(0);
}

CheckBox* MakeCheckBox(framework::Window& window, const char* name, const Box& box, const char* caption)
{
    auto* checkBox = window.Add<CheckBox>(name);
    Put(*checkBox, box, kBottomLeft);
    checkBox->Caption(caption);
    checkBox->Value(false);
    checkBox->Font({"SmallSystem", 0, true});
    return checkBox;
}

} // namespace

Reference<MovieWindow> MovieWindow::Instance()
{
    const auto window =
        framework::_GetImplicitWindow("MovieWindow.MovieWindow", [] { return std::make_shared<MovieWindow>(); });
    return Reference<MovieWindow>(std::dynamic_pointer_cast<MovieWindow>(window));
}

Reference<VelmoraCanvas> MovieWindow::VelmoraCanvas1() const
{
    return ControlReference<VelmoraCanvas>("VelmoraCanvas1");
}

Reference<PushButton> MovieWindow::btnstartcapture1() const
{
    return ControlReference<PushButton>("btnstartcapture1");
}

Reference<PopupMenu> MovieWindow::PopupMenu1() const
{
    return ControlReference<PopupMenu>("PopupMenu1");
}

Reference<PopupMenu> MovieWindow::PopupMenu2() const
{
    return ControlReference<PopupMenu>("PopupMenu2");
}

Reference<EditField> MovieWindow::EditField1() const
{
    return ControlReference<EditField>("EditField1");
}

Reference<Timer> MovieWindow::SoundLevelMeterTimer() const
{
    return ControlReference<Timer>("SoundLevelMeterTimer");
}

Reference<ProgressBar> MovieWindow::ProgressBar1() const
{
    return ControlReference<ProgressBar>("ProgressBar1");
}

Reference<ProgressBar> MovieWindow::ProgressBar2() const
{
    return ControlReference<ProgressBar>("ProgressBar2");
}

Reference<CheckBox> MovieWindow::CheckBox1() const
{
    return ControlReference<CheckBox>("CheckBox1");
}

Reference<CheckBox> MovieWindow::CheckBox2() const
{
    return ControlReference<CheckBox>("CheckBox2");
}

Reference<CheckBox> MovieWindow::CheckBox3() const
{
    return ControlReference<CheckBox>("CheckBox3");
}

void MovieWindow::Layout()
{
    Width(680);
    Height(634);
    MinWidth = 680;
    MinHeight = 634;
    Composite = true;
    EndsProgram = true;
}

void MovieWindow::CreateControls()
{
    _CreateControls0();
}

void MovieWindow::_CreateControls0()
{
    MakeCanvas();
    MakeButton(*this, "btnstartcapture1", {580, 512, 80, 20}, kBottomRight, "Record")->Action = [this] {
        btnstartcapture1_Action();
    };
    MakeButton(*this, "PushButton1", {290, 545, 147, 20}, kBottomLeft, "Send Command")->Action = [this] {
        PushButton1_Action();
    };
    MakePopupMenu(*this, "PopupMenu1", {149, 512, 130, 20}, {"Blue Screen", "Color Bars", "Custom Drawing"})->Change =
        [this] { PopupMenu1_Change(); };
    MakeCaptionField();
    MakeLabel(*this, "StaticText1", {20, 513, 120, 20}, "Inactive Preview:")->Labels(*PopupMenu1());
    MakePopupMenu(*this, "PopupMenu2", {149, 545, 130, 20},
                  {"Play", "Stop", "Rewind", "Fast Forward", "Freeze", "FastForwardPlay", "NextFrame", "PreviousFrame",
                   "Record", "RewindPlay", "SlowForward", "SlowReverse"});
    MakeLabel(*this, "StaticText2", {20, 545, 120, 20}, "DV Remote Control:")->Labels(*PopupMenu2());
    MakeMeterTimer();
    MakeLevelBar(*this, "ProgressBar1", {152, 578, 50, 20}, "Left Sound Level");
    MakeLevelBar(*this, "ProgressBar2", {214, 578, 50, 20}, "Right Sound Level");
    MakeLabel(*this, "StaticText3", {20, 581, 120, 20}, "Sound Level Meters:");
    // The boxes form a staircase: each is two pixels higher than the one before.
    MakeCheckBox(*this, "CheckBox1", {302, 583, 86, 20}, "Horizontal")->Action = [this] { CheckBox1_Action(); };
    MakeCheckBox(*this, "CheckBox2", {400, 581, 86, 20}, "Vertical")->Action = [this] { CheckBox2_Action(); };
    MakeCheckBox(*this, "CheckBox3", {498, 579, 86, 20}, "Rotate 180")->Action = [this] { CheckBox3_Action(); };
}

std::shared_ptr<VelmoraCanvas> MovieWindow::NewVelmoraCanvas()
{
    return std::make_shared<VelmoraCanvas>();
}

void MovieWindow::MakeCanvas()
{
    const auto canvas = NewVelmoraCanvas();
    canvas->Constructor(Reference<VelmoraCanvas>(canvas));
    Add("VelmoraCanvas1", canvas);
    Put(*canvas, {20, 14, 640, 480}, kAllEdges);
    canvas->AccessibleName("Live Picture");
    canvas->UseFocusRing = true;
    canvas->AcceptFocus = false;
    canvas->AcceptTabs = false;
    canvas->EraseBackground = true;
    canvas->isActive = false;
    canvas->EnableVideo = true;
    canvas->EnableSound = true;
    canvas->ColorBars = false;
    canvas->BlueScreenCaption = "";
    canvas->UseDataProc = true;
    canvas->PaintInactive = [this](Graphics& g) { return VelmoraCanvas1_PaintInactive(g); };
    canvas->EnableMenuItems = [this] { VelmoraCanvas1_EnableMenuItems(); };
    canvas->PaintActive = [this](Graphics& g) { VelmoraCanvas1_PaintActive(g); };
    canvas->Open = [this] { VelmoraCanvas1_Open(); };
}

void MovieWindow::MakeCaptionField()
{
    auto* field = Add<EditField>("EditField1");
    Put(*field, {290, 510, 147, 22}, kBottomLeft);
    field->AccessibleName("Inactive Preview Caption");
    field->Text("Preview Not Enabled");
    field->Font(BoldSystem());
}

void MovieWindow::MakeMeterTimer()
{
    auto* timer = Add<Timer>("SoundLevelMeterTimer");
    timer->Mode(Timer::Off);
    timer->Period(100);
    timer->Action = [this] { SoundLevelMeterTimer_Action(); };
}

void MovieWindow::VelmoraCanvas1_Open()
{
    VelmoraCanvas1()->Initialize();
}

void MovieWindow::Event_Open()
{
    Title(VelmoraCanvas1()->VideoDeviceName());
    VelmoraCanvas1()->BlueScreenCaption = VelmoraCanvas1()->VideoDeviceName() + " : Inactive Preview";
    PopulateMenus();
}

// The movie's size is that of the picture on the screen, until the record button or a Size item changes it.
void MovieWindow::Event_Resized()
{
    const auto canvas = VelmoraCanvas1();
    canvas->VideoRecordSize(canvas->Width(), canvas->Height());
}

} // namespace velmora
