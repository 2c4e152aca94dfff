// SPDX-License-Identifier: MIT
#include "ui/AnalogVideoSettings.h"
#include "ui/GrabWindow.h"
#include "ui/IIDCVideoSettings.h"
#include "ui/UiTest.h"

#include <QAbstractButton>
#include <QCoreApplication>
#include <QLabel>
#include <QWidget>

#include <sstream>

namespace {

using framework::RectControl;
using framework::Window;

// The texts that a control shows, as a user reads them.
std::string TextOf(const RectControl& control)
{
    if (const auto* button = dynamic_cast<const framework::PushButton*>(&control))
        return button->Caption().Bytes();
    if (const auto* box = dynamic_cast<const framework::CheckBox*>(&control))
        return box->Caption().Bytes() + (box->Value() ? " on" : " off");
    if (const auto* label = dynamic_cast<const framework::StaticText*>(&control))
        return label->Text().Bytes();
    if (const auto* field = dynamic_cast<const framework::EditField*>(&control))
        return field->Text().Bytes();
    if (const auto* slider = dynamic_cast<const framework::Slider*>(&control))
        return std::to_string(slider->Minimum()) + "-" + std::to_string(slider->Maximum()) + ":" +
               std::to_string(slider->Value());
    if (const auto* bar = dynamic_cast<const framework::ProgressBar*>(&control))
        return std::to_string(bar->Value()) + "/" + std::to_string(bar->Maximum());
    const auto* menu = dynamic_cast<const framework::PopupMenu*>(&control);
    return menu == nullptr ? "" : menu->List(menu->ListIndex()).Bytes() + " of " + std::to_string(menu->ListCount());
}

// One line for a control: name, rectangle, anchors, weight, alignment, text, and whether it can be used.
std::string DescribeNamed(const Window& window, const char* name, int32_t index = -1)
{
    const auto* found = window.ControlNamed<RectControl>(name, index);
    if (found == nullptr)
        return std::string(name) + " is missing";
    const RectControl& control = *found;
    std::ostringstream line;
    line << control.Name().Bytes();
    if (control.Index >= 0)
        line << "(" << control.Index << ")";
    const auto& locked = control.LockedTo;
    line << " " << control.Left() << "," << control.Top() << " " << control.Width() << "x" << control.Height() << " "
         << (locked.left ? "L" : "") << (locked.top ? "T" : "") << (locked.right ? "R" : "")
         << (locked.bottom ? "B" : "") << "|" << (control.Widget()->font().bold() ? "bold" : "plain");
    if (const auto* label = qobject_cast<QLabel*>(control.Widget()))
        line << (label->alignment() & Qt::AlignRight ? " right" : " left");
    line << "|" << TextOf(control) << (control.Enabled() ? "" : "|disabled");
    return line.str();
}

std::string DescribeWindow(const Window& window)
{
    std::ostringstream line;
    line << window.Width() << "x" << window.Height() << " at least " << window.MinWidth << "x" << window.MinHeight
         << " at most " << window.MaxWidth << "x" << window.MaxHeight << " frame " << window.Frame << " placement "
         << window.Placement << " composite " << window.Composite << " resizeable " << window.Resizeable
         << window.LiveResize << window.MaximizeButton << window.MinimizeButton << window.CloseButton << " "
         << window.Title().Bytes();
    return line.str();
}

using LayoutTest = UiTest;

TEST_F(LayoutTest, MovieWindow)
{
    EXPECT_EQ(DescribeWindow(*window), "680x634 at least 680x634 at most 32000x32000 frame 0 placement 0 composite 1 "
                                       "resizeable 11111 Camera");
    const std::vector<std::string> expected{
        "VelmoraCanvas1 20,14 640x480 LTRB|plain|",
        "btnstartcapture1 580,512 80x20 RB|bold|Record",
        "PushButton1 290,545 147x20 LB|bold|Send Command",
        "PopupMenu1 149,512 130x20 LB|bold|Blue Screen of 3",
        "EditField1 290,510 147x22 LB|bold|Preview Not Enabled",
        "StaticText1 20,513 120x20 LB|bold right|Inactive Preview:",
        "PopupMenu2 149,545 130x20 LB|bold|Play of 12",
        "StaticText2 20,545 120x20 LB|bold right|DV Remote Control:",
        "ProgressBar1 152,578 50x20 LB|plain|0/100",
        "ProgressBar2 214,578 50x20 LB|plain|0/100",
        "StaticText3 20,581 120x20 LB|bold right|Sound Level Meters:",
        "CheckBox1 302,583 86x20 LB|bold|Horizontal off",
        "CheckBox2 400,581 86x20 LB|bold|Vertical off",
        "CheckBox3 498,579 86x20 LB|bold|Rotate 180 off",
    };
    for (const std::string& line : expected)
        EXPECT_EQ(DescribeNamed(*window, line.substr(0, line.find(' ')).c_str()), line);
    // Growing the window moves each control with the edges it is locked to.
    window->Width(680 + 100);
    window->Height(634 + 50);
    QCoreApplication::processEvents();
    EXPECT_EQ(window->VelmoraCanvas1()->Widget()->geometry(), QRect(20, 14, 740, 530));
    EXPECT_EQ(window->btnstartcapture1()->Widget()->geometry(), QRect(680, 562, 80, 20));
    EXPECT_EQ(window->CheckBox1()->Widget()->geometry(), QRect(302, 633, 86, 20));
    EXPECT_EQ(spy->calls.back(), "VideoRecordSize 740 530");
}

// What the Tab key goes through, in its order, by the names that a screen reader says.
std::string TabOrder(const Window& window, const char* anyControl, int32_t index = -1)
{
    std::string names;
    QWidget* const top = window.ControlNamed<RectControl>(anyControl, index)->Widget()->window();
    for (QWidget* each = top->nextInFocusChain(); each != top; each = each->nextInFocusChain()) {
        const auto* button = qobject_cast<QAbstractButton*>(each);
        const QString name = button != nullptr ? button->text() : each->accessibleName();
        if (each->objectName().isEmpty() || !(each->focusPolicy() & Qt::TabFocus))
            continue;
        names += (names.empty() ? "" : ", ") + name.toStdString();
    }
    return names;
}

TEST_F(LayoutTest, EachControlHasANameAndItsTurn)
{
    EXPECT_EQ(TabOrder(*window, "PopupMenu1"),
              "Inactive Preview, Inactive Preview Caption, Record, DV Remote Control, Send Command, Horizontal, "
              "Vertical, Rotate 180");
    EXPECT_EQ(TabOrder(*velmora::AnalogVideoSettings::Instance(), "HueSlider"), "Brightness, Hue, Untitled");
    EXPECT_EQ(TabOrder(*velmora::IIDCVideoSettings::Instance(), "Slider1", 0).substr(0, 38),
              "Hue, Saturation, Sharpness, Brightness");
    for (const auto& [control, name] : {std::pair("VelmoraCanvas1", "Live Picture"),
                                        {"ProgressBar1", "Left Sound Level"},
                                        {"ProgressBar2", "Right Sound Level"}})
        EXPECT_EQ(window->ControlNamed<RectControl>(control)->Widget()->accessibleName(), name);
    EXPECT_EQ(velmora::GrabWindow::Instance()->ControlNamed<RectControl>("Canvas1")->Widget()->accessibleName(),
              "Grabbed Picture");
}

} // namespace
