// SPDX-License-Identifier: MIT
#include "framework/Support.h"

#include <gtest/gtest.h>

#include <QtWidgets>

namespace framework {
namespace {

void PressKey(QWidget* widget, int key)
{
    for (const auto type : {QEvent::KeyPress, QEvent::KeyRelease}) {
        QKeyEvent event(type, key, Qt::NoModifier);
        QCoreApplication::sendEvent(widget, &event);
    }
}

class WidgetsTest : public testing::Test {
protected:
    template <typename T> T* Make(const char* name)
    {
        T* control = window.Add<T>(name);
        control->Place(10, 10, 130, 20);
        return control;
    }

    std::function<void()> Count()
    {
        return [this] { ++raised; };
    }

    TestWindow window;
    int raised = 0;
};

TEST_F(WidgetsTest, EachSideIsMovedAlone)
{
    auto* label = Make<StaticText>("StaticText1");
    label->Left(1);
    label->Top(2);
    label->Width(30);
    label->Height(40);
    EXPECT_EQ(label->Widget()->geometry(), QRect(1, 2, 30, 40));
}

// A text that is too long for its control is narrowed, and one that fits again is not.
TEST_F(WidgetsTest, TextFitsItsControl)
{
    auto* label = Make<StaticText>("StaticText1");
    auto* button = Make<PushButton>("PushButton1");
    auto* box = Make<CheckBox>("CheckBox1");
    const auto fits = [&](const char* text) {
        label->Text(text);
        button->Caption(text);
        box->Caption(text);
        std::string narrowed;
        for (const RectControl* control :
             {static_cast<RectControl*>(label), static_cast<RectControl*>(button), static_cast<RectControl*>(box)})
            narrowed += control->Widget()->font().stretch() < QFont::Unstretched ? "narrow " : "plain ";
        return narrowed;
    };
    EXPECT_EQ(fits("A text too long for 130 pixels"), "narrow narrow narrow ");
    EXPECT_EQ(fits("Short"), "plain plain plain ");
}

TEST_F(WidgetsTest, AButtonActsWhenTheUserPressesIt)
{
    auto* button = Make<PushButton>("btnstartcapture1");
    button->Font({"System", 11, true});
    button->Action = Count();
    EXPECT_EQ(button->Widget()->font().pixelSize(), 11);
    window.Construct();
    PressKey(button->Widget(), Qt::Key_Space);
    EXPECT_EQ(raised, 1);
    button->Push();
    EXPECT_EQ(raised, 2);
    button->Enabled(false);
    button->Push();
    EXPECT_EQ(raised, 2);
    button->Action = [&] { throw RuntimeException("from the handler"); };
    button->Enabled(true);
    EXPECT_THROW(button->Push(), RuntimeException);
}

TEST_F(WidgetsTest, APopupMenuTellsOfAnotherRow)
{
    auto* menu = Make<PopupMenu>("PopupMenu1");
    for (const char* row : {"Blue Screen", "Color Bars", "Custom Drawing"})
        menu->AddRow(row);
    EXPECT_EQ(menu->ListIndex(), -1);
    menu->ListIndex(0);
    menu->Change = Count();
    menu->ListIndex(0);
    EXPECT_EQ(raised, 0);
    menu->ListIndex(2);
    EXPECT_EQ(raised, 1);
    menu->ListIndex(99);
    EXPECT_EQ(menu->ListIndex(), -1);
    window.Construct();
    PressKey(menu->Widget(), Qt::Key_Down);
    EXPECT_EQ(menu->ListIndex(), 0);
    EXPECT_EQ(raised, 3);
    emit static_cast<QComboBox*>(menu->Widget())->activated(0); // the same row was chosen again
    EXPECT_EQ(raised, 3);
}

TEST_F(WidgetsTest, ASliderTellsOfAnotherValue)
{
    auto* slider = Make<Slider>("Slider1");
    slider->Maximum(100);
    slider->PageStep(20);
    slider->ValueChanged = Count();
    slider->Value(500);
    EXPECT_EQ(slider->Value(), 100);
    EXPECT_EQ(raised, 1);
    slider->Maximum(80);
    EXPECT_EQ(slider->Value(), 80) << "the range takes the value along";
    EXPECT_EQ(raised, 2);
    slider->Enabled(false);
    slider->Value(50);
    EXPECT_EQ(raised, 3) << "a disabled slider is moved by code";
    slider->Enabled(true);
    window.Construct();
    PressKey(slider->Widget(), Qt::Key_PageUp);
    EXPECT_EQ(slider->Value(), 70);
    EXPECT_EQ(raised, 4);
}

// A screen reader uses the label of a popup menu as its name, since the menu's own name is the selected row.
TEST_F(WidgetsTest, ATextNamesTheControlBesideIt)
{
    auto* label = Make<StaticText>("StaticText1");
    auto* menu = Make<PopupMenu>("PopupMenu1");
    for (const auto& [text, name] : {std::pair("Hue:", "Hue"), {"Größe:", "Größe"}, {"Gain", "Gain"}, {"", ""}}) {
        label->Text(text);
        label->Labels(*menu);
        EXPECT_EQ(menu->Widget()->accessibleName(), name);
    }
    EXPECT_EQ(static_cast<QLabel*>(label->Widget())->buddy(), menu->Widget());
}

TEST_F(WidgetsTest, ATimerFiresOnceOrUntilItIsOff)
{
    auto* timer = window.Add<Timer>("Timer");
    EXPECT_EQ(timer->Mode(), Timer::Off);
    timer->Period(1);
    timer->Mode(Timer::Single);
    timer->Action = [&] {
        EXPECT_EQ(timer->Mode(), Timer::Off) << "at rest when its handler runs";
        if (++raised < 3)
            timer->Mode(Timer::Single);
    };
    ASSERT_TRUE(TurnUntil([this] { return raised == 3; }));
    timer->Action = [&] { timer->Mode(++raised < 6 ? Timer::Multiple : Timer::Off); };
    timer->Mode(Timer::Multiple);
    ASSERT_TRUE(TurnUntil([this] { return raised == 6; }));
    EXPECT_EQ(timer->Mode(), Timer::Off);
    timer->Mode(7);
    EXPECT_EQ(timer->Mode(), Timer::Off);
}

} // namespace
} // namespace framework
