// SPDX-License-Identifier: MIT
#include "ui/AnalogVideoSettings.h"
#include "ui/GrabWindow.h"
#include "ui/IIDCVideoSettings.h"
#include "ui/UiTest.h"

#include <QAbstractButton>
#include <QCoreApplication>
#include <QLabel>
#include <QRegion>
#include <QWidget>

namespace {

using framework::RectControl;
using framework::Window;

using LayoutTest = UiTest;

// Nothing covers anything else or leaves the window; texts are bold, and labels end at what they label.
TEST_F(LayoutTest, MovieWindow)
{
    EXPECT_TRUE(window->MinWidth == 680 && window->MinHeight == 634 && window->Resizeable);
    QRegion covered;
    for (const std::string name :
         {"VelmoraCanvas1", "btnstartcapture1", "PushButton1", "PopupMenu1", "EditField1", "StaticText1", "PopupMenu2",
          "StaticText2", "ProgressBar1", "ProgressBar2", "StaticText3", "CheckBox1", "CheckBox2", "CheckBox3"}) {
        SCOPED_TRACE(name);
        const auto* control = window->ControlNamed<RectControl>(name);
        ASSERT_NE(control, nullptr);
        const QRect place = control->Widget()->geometry();
        EXPECT_TRUE(QRect(0, 0, 680, 634).contains(place));
        EXPECT_FALSE(covered.intersects(place));
        covered += place;
        EXPECT_EQ(control->Widget()->font().bold(), name != "VelmoraCanvas1" && !name.starts_with("ProgressBar"));
        const auto* label = qobject_cast<QLabel*>(control->Widget());
        EXPECT_TRUE(label == nullptr || label->alignment() & Qt::AlignRight);
    }
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
