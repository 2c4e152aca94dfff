// SPDX-License-Identifier: MIT
#include "app/RecordingWatch.h"
#include "framework/Runtime.h"
#include "platform/memory/ResultCodes.h"
#include "ui/RecordingTexts.h"
#include "ui/UiTest.h"

#include <filesystem>
#include <fstream>

namespace {

using velmora::RecordingNote;
using velmora::RecordingStatus;

TEST(RecordingTitle, TellsWhatIsNotAsItShouldBe)
{
    const struct {
        RecordingStatus status;
        const char* title;
    } cases[] = {
        {{.seconds = 723.9, .bytes = 1'234'000'000, .lost = 3, .secondsLeft = 2501},
         "Recording 00:12:03, 1.2 GB, 3 frames lost, 41 min left"},
        {{.seconds = 36000, .bytes = 12'400'000}, "Recording 10:00:00, 12 MB"},
        {{.lost = 2, .tooSlow = true},
         "Recording 00:00:00, 0 MB, 2 frames lost, MACHINE TOO SLOW for this compressor, size and rate"},
        {{.lost = 1, .damaged = 2, .incomplete = 1, .notShown = 1, .secondsLeft = 90000},
         "Recording 00:00:00, 0 MB, 1 frame lost, 2 damaged frames, 1 incomplete frame, 1 picture not shown, "
         "25 h left"},
        {{.secondsLeft = 61.5, .waitingBytes = 10'000'000, .bufferBytes = 64'000'000, .awaySeconds = 4.4},
         "Recording 00:00:00, 0 MB, camera was away for 4 s, DISK TOO SLOW: 10 MB waiting, space for 54 MB more, "
         "DISK ALMOST FULL: 1 min 01 s left"},
        {{.cameraAway = true, .awaySeconds = 12, .failure = -36},
         "Recording 00:00:00, 0 MB, WRITING FAILED, CAMERA AWAY for 12 s"},
        {{.seconds = 10, .bytes = 7'000'000, .waitingBytes = 6'000'000, .bufferBytes = 256'000'000},
         "Recording 00:00:10, 7 MB, DISK TOO SLOW: 6 MB waiting, space for 250 MB more"},
        {{.seconds = 10, .bytes = 70'000'000, .waitingBytes = 6'000'000, .bufferBytes = 256'000'000},
         "Recording 00:00:10, 70 MB"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(velmora::RecordingTitle(c.status).Bytes(), c.title);
}

class RecordingWatchTest : public UiTest {
protected:
    void SetUp() override
    {
        qputenv("XDG_STATE_HOME", folder.path().toUtf8());
        UiTest::SetUp();
        watch = std::make_unique<velmora::RecordingWatch>(window);
        std::ofstream(movie) << "not much";
        Begin();
    }

    void TearDown() override
    {
        watch.reset();
        UiTest::TearDown();
    }

    void Begin()
    {
        window->btnstartcapture1()->Caption("Stop");
        spy->status = {.recording = true, .path = movie, .seconds = 61};
        spy->RecordingChanged(true);
        spy->TakeCalls();
        spy->stop = [this] {
            spy->status.recording = false;
            spy->status.finished = true;
            spy->RecordingChanged(false);
        };
    }

    QTemporaryDir folder;
    const std::string movie = folder.filePath("Take.mov").toStdString();
    std::unique_ptr<velmora::RecordingWatch> watch;
};

TEST_F(RecordingWatchTest, AsksBeforeItEnds)
{
    struct Case {
        const char* answer;
        bool quits;
        const char* calls;
        const char* caption;
    };
    for (const Case& c : {Case{"Keep recording", false, "", "Stop"}, Case{"", false, "", "Stop"},
                          Case{"Stop and save", true, "Stop", "Record"}}) {
        BoxAnswer answer(c.answer);
        EXPECT_EQ(framework::RequestQuit(), c.quits);
        EXPECT_EQ(answer.question, "A movie is being recorded: Take.mov.");
        EXPECT_EQ(spy->TakeCalls(), c.calls);
        EXPECT_EQ(window->btnstartcapture1()->Caption(), c.caption);
    }
    EXPECT_TRUE(framework::RequestQuit()) << "nothing is recorded: nothing is asked";
    EXPECT_EQ(framework::RunEventLoop(), EXIT_SUCCESS);
}

TEST_F(RecordingWatchTest, RefusesWhatWouldInterrupt)
{
    for (const char* item :
         {"MonitorEnablePreview", "SoundEnabled", "VideoSettings", "FileOpenSettings", "SoundSampleSize"}) {
        EXPECT_TRUE(Choose(item));
        EXPECT_EQ(spy->TakeCalls(), "") << item;
        EXPECT_EQ(TakeBoxes().size(), 1U) << item;
    }
    spy->Stop();
    Choose("SoundEnabled");
    EXPECT_EQ(spy->TakeCalls(), "Stop; SoundEnabled = 1");
}

TEST_F(RecordingWatchTest, StopsBeforeTheDiskIsFull)
{
    const auto note = [] {
        for (const QWidget* widget : QApplication::topLevelWidgets())
            if (const auto* box = qobject_cast<const QMessageBox*>(widget))
                return box->text().toStdString();
        return std::string();
    };
    const std::string disk = velmora::DiskOf(movie);
    spy->status.secondsLeft = 121;
    watch->Look();
    EXPECT_EQ(note(), "");
    spy->status.secondsLeft = 119;
    watch->Look();
    EXPECT_NE(note().find("The disk " + disk), std::string::npos);
    EXPECT_EQ(spy->TakeCalls(), "") << "a warning stops nothing";
    spy->status.secondsLeft = 1;
    watch->Look();
    watch->Look();
    EXPECT_EQ(spy->TakeCalls(), "Stop");
    EXPECT_EQ(TakeBoxes(), std::vector<std::string>{"The recording was stopped because the disk " + disk +
                                                    " is full. Take.mov is complete: 00:01:01."});
    EXPECT_EQ(note(), "") << "overtaken by the end";
}

TEST_F(RecordingWatchTest, RunsTheSessionForARecordingWithoutPreview)
{
    spy->numbers["VideoPreview"] = 0;
    spy->RecordingChanged(true);
    EXPECT_EQ(spy->TakeCalls(), "VideoPreview = 1");
}

TEST_F(RecordingWatchTest, OffersToRepairWhatWasCutOff)
{
    EXPECT_TRUE(RecordingNote::LeftBehind().empty()) << "this recording goes on";
    spy->status.failure = platform::dskFulErr;
    spy->stop = [this] {
        spy->status.recording = false;
        spy->RecordingChanged(false);
    };
    spy->Stop();
    EXPECT_NE(TakeBoxes().at(0).find("Take.mov could not be finished"), std::string::npos);
    {
        BoxAnswer later("Later");
        watch->OfferRepairs();
        EXPECT_NE(later.question.find(movie), std::string::npos);
    }
    EXPECT_TRUE(TakeBoxes().empty());
    BoxAnswer repair("Repair");
    watch->OfferRepairs();
    EXPECT_EQ(TakeBoxes(), std::vector<std::string>{"Take.mov can't be repaired: nothing had been recorded yet."});
    BoxAnswer again("Later");
    watch->OfferRepairs();
    EXPECT_EQ(again.question, "");

    Begin();
    spy->Stop();
    EXPECT_TRUE(RecordingNote::LeftBehind().empty()) << "a whole movie leaves nothing";
    Begin();
    std::filesystem::remove(movie);
    watch.reset();
    EXPECT_TRUE(RecordingNote::LeftBehind().empty()) << "the user has removed it";
    EXPECT_FALSE(std::filesystem::exists(folder.filePath("velmora").toStdString()));
}

} // namespace
