// SPDX-License-Identifier: MIT
#include "ui/AnalogVideoSettings.h"
#include "ui/GrabWindow.h"
#include "ui/IIDCVideoSettings.h"
#include "ui/UiTest.h"

namespace {

using framework::RectControl;
using framework::Window;
using MovieWindowTest = UiTest;

// Nothing covers anything else or leaves the window; texts are bold, and labels end at what they label.
TEST_F(MovieWindowTest, NothingOverlaps)
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

TEST_F(MovieWindowTest, EachControlHasANameAndItsTurn)
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

TEST_F(MovieWindowTest, RecordButton)
{
    QTemporaryDir folder;
    const std::string file = folder.filePath("Movie").toStdString();
    const std::string quoted = folder.filePath("A \"b\".mov").toStdString();
    struct Press {
        std::string answer; // to the save dialog; empty cancels
        bool asks;
        const char* calls;
        const char* caption;
    };
    const std::vector<Press> presses{
        {file, true, "VideoRecordSize 320 240; Record Movie.mov", "Stop"},
        {"", false, "Stop", "Record"},
        {quoted, true, "VideoRecordSize 320 240; Record A \"b\".mov", "Stop"},
        {"", false, "Stop", "Record"},
        {"", true, "", "Stop"},
        {"", false, "Stop", "Record"},
    };
    EXPECT_EQ(spy->TakeCalls(), "VideoPreview = 1; Initialize") << "no handler runs of a control's first value";
    std::string lastFolder;
    for (const Press& press : presses) {
        FileDialogAnswer answer(press.answer);
        window->btnstartcapture1()->Push();
        EXPECT_EQ(spy->TakeCalls(), press.calls);
        EXPECT_EQ(window->btnstartcapture1()->Caption(), press.caption);
        EXPECT_EQ(answer.offeredName, press.asks ? "UntitledMovie" : "");
        EXPECT_TRUE(!press.asks || lastFolder.empty() || answer.offeredFolder == lastFolder);
        if (press.asks)
            lastFolder = folder.path().toStdString();
    }
}

TEST_F(MovieWindowTest, SendCommand)
{
    constexpr const char* operations[] = {
        "Play",      "Stop",          "Rewind", "FastForward", "Freeze",      "FastForwardPlay",
        "NextFrame", "PreviousFrame", "",       "RewindPlay",  "SlowForward", "SlowReverse"};
    auto* button = window->ControlNamed<framework::PushButton>("PushButton1");
    spy->TakeCalls();
    for (int32_t row = 0; row < 12; row++) {
        window->PopupMenu2()->ListIndex(row);
        button->Push();
        EXPECT_EQ(spy->TakeCalls(), operations[row]) << row;
    }
    EXPECT_EQ(TakeBoxes(), std::vector<std::string>{"Caution! Record can permanently erase data."});
}

TEST_F(MovieWindowTest, LevelBars)
{
    const auto values = [&] {
        window->SoundLevelMeterTimer()->Action();
        return std::pair(window->ProgressBar1()->Value(), window->ProgressBar2()->Value());
    };
    Choose("SoundLevelMeterActive");
    EXPECT_EQ(window->SoundLevelMeterTimer()->Mode(), framework::Timer::Multiple);
    spy->numbers["SoundLevelMeterLeft"] = 30;
    spy->numbers["SoundLevelMeterRight"] = 60;
    EXPECT_EQ(values(), std::pair(30, 30)) << "the second level counts where the driver says 2";
    spy->numbers["SoundLevelMeterChannelCount"] = 2;
    EXPECT_EQ(values(), std::pair(30, 60));
    Choose("SoundLevelMeterActive");
    EXPECT_EQ(window->SoundLevelMeterTimer()->Mode(), framework::Timer::Off);
}

} // namespace
