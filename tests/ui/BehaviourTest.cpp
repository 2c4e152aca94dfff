#include "ui/FileDialogAnswer.h"
#include "ui/UiTest.h"

#include <QTemporaryDir>

#include <fstream>
#include <iterator>

namespace {

using BehaviourTest = UiTest;

TEST_F(BehaviourTest, OpeningStartsTheControlAndRunsNoHandlerOfAnInitialValue)
{
    EXPECT_EQ(spy->TakeCalls(), "VideoPreview = 1; Initialize");
    EXPECT_EQ(window->Title(), "Camera");
    EXPECT_EQ(spy->BlueScreenCaption, "Camera : Inactive Preview");
    EXPECT_EQ(window->EditField1()->Text(), "Preview Not Enabled");
    EXPECT_TRUE(spy->UseDataProc && spy->EnableSound && spy->EnableVideo);
    EXPECT_FALSE(spy->isActive || spy->ColorBars);
    EXPECT_EQ(velmora::MovieWindow::Instance().Get(), window.Get());
}

TEST_F(BehaviourTest, RecordButton)
{
    QTemporaryDir folder;
    const std::string file = folder.filePath("Movie").toStdString();
    struct Press {
        std::string answer; // to the save dialog; empty cancels
        bool asks;
        const char* calls;
        const char* caption;
    };
    const std::vector<Press> presses{
        {file, true, "VideoRecordSize 320 240; Record Movie", "Stop"},
        {"", false, "Stop", "Record"},
        {"", true, "", "Stop"},
        {"", false, "Stop", "Record"},
        {file, true, "VideoRecordSize 320 240; Record Movie", "Stop"},
        {"", false, "Stop", "Record"},
    };
    spy->TakeCalls();
    for (const Press& press : presses) {
        FileDialogAnswer answer(press.answer);
        window->btnstartcapture1()->Push();
        EXPECT_EQ(spy->TakeCalls(), press.calls);
        EXPECT_EQ(window->btnstartcapture1()->Caption(), press.caption);
        EXPECT_EQ(answer.Asked(), press.asks);
        if (press.asks) {
            EXPECT_EQ(answer.OfferedName(), "UntitledMovie");
        }
    }
    window->btnstartcapture1()->Caption("Something else");
    window->btnstartcapture1()->Push();
    EXPECT_EQ(spy->TakeCalls(), "");
    EXPECT_EQ(window->btnstartcapture1()->Caption(), "Something else");
}

TEST_F(BehaviourTest, InactivePictureChooser)
{
    spy->BlueScreenCaption = "before";
    const auto chooser = window->PopupMenu1();
    const auto state = [&] {
        return std::string(window->EditField1()->Enabled() ? "enabled " : "disabled ") +
               (spy->ColorBars ? "bars " : "plain ") + spy->BlueScreenCaption.Bytes();
    };
    window->EditField1()->Text("typed");
    EXPECT_EQ(state(), "enabled plain before");
    chooser->ListIndex(1);
    EXPECT_EQ(state(), "disabled bars before");
    chooser->ListIndex(2);
    EXPECT_EQ(state(), "disabled plain before");
    chooser->ListIndex(0);
    EXPECT_EQ(state(), "enabled plain typed");
}

TEST_F(BehaviourTest, InactivePictureIsDrawnInAllThreeCases)
{
    for (int32_t row = 0; row < 3; row++) {
        window->PopupMenu1()->ListIndex(row);
        framework::Picture picture(640, 480);
        EXPECT_EQ(spy->PaintInactive(picture.Graphics()), row == 2) << row;
        const QImage image = picture.Image();
        EXPECT_EQ(image.pixelColor(320, 240), QColor(0, 0, 100));
        for (const QPoint corner : {QPoint(0, 0), QPoint(639, 0), QPoint(0, 479), QPoint(639, 479)})
            EXPECT_EQ(image.pixelColor(corner), QColor(255, 0, 0));
    }
}

TEST_F(BehaviourTest, LivePictureGetsFrameAndClockAtItsOwnSize)
{
    for (const QSize size : {QSize(320, 200), QSize(1280, 720)}) {
        framework::Picture picture(size.width(), size.height());
        picture.Graphics().ForeColor({0, 255, 0});
        picture.Graphics().FillRect(0, 0, size.width(), size.height());
        spy->PaintActive(picture.Graphics());
        const QImage image = picture.Image();
        const QColor red(255, 0, 0), green(0, 255, 0);
        const int right = size.width() - 1, bottom = size.height() - 1;
        EXPECT_EQ(image.pixelColor(0, bottom / 2), red);
        EXPECT_EQ(image.pixelColor(right / 2, 0), red);
        EXPECT_EQ(image.pixelColor(right, bottom / 2), red);
        EXPECT_EQ(image.pixelColor(size.width() / 2, size.height() / 2), green);
        EXPECT_EQ(image.pixelColor(1, bottom - 1), green);

        int plateWidth = 0;
        while (image.pixelColor(right - 1 - plateWidth, bottom - 1) != green)
            plateWidth++;
        EXPECT_GT(plateWidth, 80);
        EXPECT_LT(plateWidth, 160);
        int digits = 0;
        for (int y = bottom - 24; y < bottom; y++)
            for (int x = right - plateWidth; x < right; x++)
                digits += image.pixelColor(x, y) == QColor(255, 255, 255);
        EXPECT_GT(digits, 100);
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

TEST_F(BehaviourTest, LevelMeters)
{
    struct Case {
        double channels, left, right;
        int32_t bar1, bar2;
    };
    for (const Case& each :
         {Case{2, 40, 70, 40, 70}, Case{1, 30, 90, 30, 30}, Case{0, 10, 5, 10, 10}, Case{2, 255, 0, 100, 0}}) {
        spy->numbers = {{"SoundLevelMeterChannelCount", each.channels},
                        {"SoundLevelMeterLeft", each.left},
                        {"SoundLevelMeterRight", each.right}};
        window->SoundLevelMeterTimer()->Action();
        EXPECT_EQ(window->ProgressBar1()->Value(), each.bar1);
        EXPECT_EQ(window->ProgressBar2()->Value(), each.bar2);
    }
}

TEST_F(BehaviourTest, FlipBoxes)
{
    spy->TakeCalls();
    window->CheckBox1()->Value(true);
    window->CheckBox2()->Value(true);
    window->CheckBox3()->Value(true);
    window->CheckBox3()->Value(false);
    window->CheckBox1()->Value(false);
    EXPECT_EQ(spy->TakeCalls(), "VideoFlipHorizontal = 1; VideoFlipVertical = 1; VideoRotate 1 180; VideoRotate 0 180; "
                                "VideoFlipHorizontal = 0");
}

TEST_F(BehaviourTest, SettingsGoToAFileAndBackByteForByte)
{
    QTemporaryDir folder;
    const std::string file = folder.filePath("My Settings").toStdString();
    const std::string bytes("\0settings\xFF\r\n", 12);
    spy->settings = bytes;
    {
        FileDialogAnswer answer(file);
        Choose("FileSaveSettings");
        EXPECT_EQ(answer.OfferedName(), "Capture Settings");
    }
    std::ifstream written(file, std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(written), {}), bytes);
    spy->settings = "others";
    spy->TakeCalls();
    {
        FileDialogAnswer cancelled("");
        Choose("FileOpenSettings");
        EXPECT_EQ(spy->TakeCalls(), "");
    }
    FileDialogAnswer answer(file);
    Choose("FileOpenSettings");
    EXPECT_EQ(spy->TakeCalls(), "UserSettings");
    EXPECT_EQ(spy->settings, bytes);
}

TEST_F(BehaviourTest, TheEndReleasesWhatTheModulesHold)
{
    std::weak_ptr<velmora::MovieWindow> closed = window.Shared();
    window = nullptr;
    velmora::_FinaliseModules();
    EXPECT_FALSE(framework::HasImplicitWindow("MovieWindow.MovieWindow"));
    EXPECT_FALSE(velmora::FileTypes::pText);
    EXPECT_FALSE(velmora::VelmoraCanvas::SeqGrabbers);
    EXPECT_EQ(velmora::CarbonTimer::timers, nullptr);
    EXPECT_TRUE(closed.expired());
}

} // namespace
