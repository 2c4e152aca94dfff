// SPDX-License-Identifier: MIT
#include "framework/Application.h"
#include "framework/Date.h"
#include "ui/MovieWindow.h"

#include <array>

// What the main window's controls do. The handlers are thin: each reads or sets a property of the capture control. Only
// the record button's caption remembers whether a recording was requested.

namespace velmora {
namespace {

constexpr framework::Color kRed{255, 0, 0};
constexpr framework::Color kWhite{255, 255, 255};
constexpr framework::Color kDarkBlue{0, 0, 100};

using DeckOperation = void (VelmoraCanvas::*)();

// By the rows of `PopupMenu2`. Row 8 is "Record", which erases the tape: the window only shows a warning.
constexpr std::array<DeckOperation, 12> kDeckOperations{
    &VelmoraCanvas::DeviceControlPlay,
    &VelmoraCanvas::DeviceControlStop,
    &VelmoraCanvas::DeviceControlRewind,
    &VelmoraCanvas::DeviceControlFastForward,
    &VelmoraCanvas::DeviceControlFreeze,
    &VelmoraCanvas::DeviceControlFastForwardPlay,
    &VelmoraCanvas::DeviceControlNextFrame,
    &VelmoraCanvas::DeviceControlPreviousFrame,
    nullptr,
    &VelmoraCanvas::DeviceControlRewindPlay,
    &VelmoraCanvas::DeviceControlSlowForward,
    &VelmoraCanvas::DeviceControlSlowReverse,
};

String TimeOfDay(const framework::Date& date)
{
    return framework::Format(date.Hour(), "00") + ":" + framework::Format(date.Minute(), "00") + ":" +
           framework::Format(date.Second(), "00");
}

} // namespace

// The caption changes before the dialog opens and does not change back when that is cancelled: the next press then
// stops, which does nothing without a recording, and the one after it asks for a file again.
void MovieWindow::btnstartcapture1_Action()
{
    const auto button = btnstartcapture1();
    const auto canvas = VelmoraCanvas1();
    if (button->Caption() == "Record") {
        button->Caption("Stop");
        if (const auto file = framework::GetSaveFolderItem("", "UntitledMovie", ".mov")) {
            canvas->VideoRecordSize(320, 240);
            canvas->Record(file);
        }
    } else if (button->Caption() == "Stop") {
        button->Caption("Record");
        canvas->Stop();
    }
}

void MovieWindow::PushButton1_Action()
{
    const int32_t row = PopupMenu2()->ListIndex();
    if (row < 0 || row >= std::ssize(kDeckOperations))
        return;
    if (const DeckOperation operation = kDeckOperations[static_cast<size_t>(row)])
        (*VelmoraCanvas1().*operation)();
    else
        framework::MsgBox("Caution! Record can permanently erase data.");
}

// A text typed into the field is only read here, when the user switches back to "Blue Screen".
void MovieWindow::PopupMenu1_Change()
{
    const auto canvas = VelmoraCanvas1();
    switch (PopupMenu1()->ListIndex()) {
    case 0:
        EditField1()->Enabled(true);
        canvas->ColorBars = false;
        canvas->BlueScreenCaption = EditField1()->Text();
        break;
    case 1:
        EditField1()->Enabled(false);
        canvas->ColorBars = true;
        break;
    case 2:
        EditField1()->Enabled(false);
        canvas->ColorBars = false;
        break;
    }
    canvas->Refresh(true);
}

// Draws in all three cases; only with "Custom Drawing" does the control leave it visible.
bool MovieWindow::VelmoraCanvas1_PaintInactive(Graphics& g)
{
    const auto canvas = VelmoraCanvas1();
    g.ForeColor(kDarkBlue);
    g.FillRect(0, 0, canvas->Width(), canvas->Height());
    g.ForeColor(kRed);
    g.DrawRect(0, 0, canvas->Width(), canvas->Height());
    return PopupMenu1()->ListIndex() == 2;
}

// Runs for each frame and draws on the frame itself: in the picture's size, not the control's.
void MovieWindow::VelmoraCanvas1_PaintActive(Graphics& g)
{
    const framework::Date now;
    g.TextSize(24);
    g.Bold(true);
    g.TextFont("Arial");
    g.ForeColor(kRed);
    g.DrawRect(0, 0, g.Width(), g.Height());

    const String text = TimeOfDay(now);
    const auto width = static_cast<int32_t>(g.StringWidth(text));
    const int32_t height = g.StringHeight(text, width * 2);
    g.FillRect(g.Width() - width, g.Height() - height, width, height);
    g.ForeColor(kWhite);
    g.DrawString(text, g.Width() - width, g.Height() - 2);
}

void MovieWindow::SoundLevelMeterTimer_Action()
{
    const auto canvas = VelmoraCanvas1();
    const bool stereo = canvas->SoundLevelMeterChannelCount() == 2;
    ProgressBar1()->Value(canvas->SoundLevelMeterLeft());
    ProgressBar2()->Value(stereo ? canvas->SoundLevelMeterRight() : canvas->SoundLevelMeterLeft());
}

void MovieWindow::CheckBox1_Action()
{
    VelmoraCanvas1()->VideoFlipHorizontal(CheckBox1()->Value());
}

void MovieWindow::CheckBox2_Action()
{
    VelmoraCanvas1()->VideoFlipVertical(CheckBox2()->Value());
}

void MovieWindow::CheckBox3_Action()
{
    VelmoraCanvas1()->VideoRotate(CheckBox3()->Value(), 180);
}

} // namespace velmora
