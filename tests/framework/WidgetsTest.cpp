#include "framework/Support.h"

#include <gtest/gtest.h>

#include <QCheckBox>
#include <QComboBox>
#include <QFontMetrics>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QSlider>

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

TEST_F(WidgetsTest, AButtonActsWhenTheUserPressesIt)
{
    auto* button = Make<PushButton>("btnstartcapture1");
    button->Caption("Record");
    button->Font({"System", 11, true});
    button->Action = Count();
    EXPECT_EQ(button->Caption(), "Record");
    EXPECT_EQ(button->Widget()->objectName(), "btnstartcapture1");
    EXPECT_EQ(button->Widget()->font().pixelSize(), 11);
    EXPECT_TRUE(button->Widget()->font().bold());
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

TEST_F(WidgetsTest, ACheckBoxActsWhenItsValueChanges)
{
    auto* box = Make<CheckBox>("CheckBox1");
    box->Font({"SmallSystem", 0, true});
    box->Action = Count();
    EXPECT_EQ(box->Widget()->font().pixelSize(), 11);
    box->Value(false);
    EXPECT_EQ(raised, 0);
    box->Value(true);
    EXPECT_EQ(raised, 1);
    window.Construct();
    PressKey(box->Widget(), Qt::Key_Space);
    EXPECT_EQ(raised, 2);
    EXPECT_FALSE(box->Value());
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
    EXPECT_EQ(raised, 2);
    window.Construct();
    PressKey(menu->Widget(), Qt::Key_Down);
    EXPECT_EQ(menu->ListIndex(), 0);
    EXPECT_EQ(raised, 3);
    emit static_cast<QComboBox*>(menu->Widget())->activated(0); // the same row was chosen again
    EXPECT_EQ(raised, 3);
    EXPECT_EQ(menu->List(1), "Color Bars");
    EXPECT_EQ(menu->List(7), "");
    EXPECT_EQ(menu->ListCount(), 3);
}

TEST_F(WidgetsTest, ASliderTellsOfAnotherValue)
{
    auto* slider = Make<Slider>("Slider1");
    slider->Maximum(100);
    slider->LineStep(1);
    slider->PageStep(20);
    slider->ValueChanged = Count();
    slider->Value(0);
    EXPECT_EQ(raised, 0);
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

    auto* qtSlider = static_cast<QSlider*>(slider->Widget());
    slider->LiveScroll(false);
    qtSlider->setSliderDown(true);
    qtSlider->setSliderPosition(20);
    EXPECT_EQ(raised, 4);
    qtSlider->setSliderDown(false);
    EXPECT_EQ(raised, 5) << "at the release";
    EXPECT_EQ(slider->Value(), 20);
}

TEST_F(WidgetsTest, TextsAndBars)
{
    auto* field = Make<EditField>("EditField1");
    field->Text("Preview Not Enabled");
    EXPECT_EQ(field->Text(), "Preview Not Enabled");
    auto* label = Make<StaticText>("StaticText1");
    label->Text("R&D …");
    label->Alignment(TextAlignment::Right);
    EXPECT_EQ(label->Text(), "R&D …");
    EXPECT_TRUE(static_cast<QLabel*>(label->Widget())->alignment() & Qt::AlignRight);
    label->AccessibleName("A label");
    EXPECT_EQ(label->Widget()->accessibleName(), "A label");

    for (const char* text : {"Short", "Sound Level Meters and"}) {
        label->Font({"System", 11, true});
        label->Text(text);
        const QFont& font = label->Widget()->font();
        EXPECT_LE(QFontMetrics(font).horizontalAdvance(text), label->Width()) << "narrow letters rather than cut off";
        EXPECT_EQ(font.stretch() < QFont::Unstretched, label->Text().Bytes().size() > 10);
        EXPECT_EQ(font.pixelSize(), 11);
    }

    auto* bar = Make<ProgressBar>("ProgressBar1");
    bar->Maximum(255);
    for (const auto& [given, taken] : {std::pair{128, 128}, {300, 255}, {-5, 0}, {255, 255}}) {
        bar->Value(given);
        EXPECT_EQ(bar->Value(), taken);
    }
    bar->Maximum(100);
    EXPECT_EQ(bar->Value(), 100);
    label->Visible(false);
    EXPECT_FALSE(label->Visible());
    EXPECT_THROW(StaticText().Text(), NilObjectException) << "in no window";
}

TEST_F(WidgetsTest, TheTabKeyWalksInOrderOfCreation)
{
    QWidget* button = Make<PushButton>("Button")->Widget();
    Make<StaticText>("Label");
    QWidget* field = Make<EditField>("Field")->Widget();
    Make<Canvas>("Canvas");
    QWidget* slider = Make<Slider>("Slider")->Widget();
    window.Construct();
    button->setFocus();
    for (QWidget* next : {field, slider, button}) {
        PressKey(window.ControlNamed<RectControl>("Button")->Widget()->window()->focusWidget(), Qt::Key_Tab);
        EXPECT_EQ(button->window()->focusWidget(), next);
    }
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
