// SPDX-License-Identifier: MIT
#include "ui/DialogAnswers.h"
#include "ui/UiTest.h"

#include <QTemporaryDir>

namespace {

using BehaviourTest = UiTest;

TEST_F(BehaviourTest, RecordButton)
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

TEST_F(BehaviourTest, SendCommand)
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

TEST_F(BehaviourTest, LevelBars)
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
