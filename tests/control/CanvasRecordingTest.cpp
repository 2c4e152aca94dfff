// SPDX-License-Identifier: MIT
#include "control/ControlTest.h"
#include "platform/memory/Handles.h"

#include <fstream>

namespace velmora {
namespace {

using platform::OwnedBlock;

const Lines begun{"QTNewDataReferenceFromFullPathCFString(@, -1, 0, @, @)",
                  "CreateMovieStorage(@, 'alis', 'TVOD', 0, 0x80000000, @, @)",
                  "NewMovieTrack(52, 20971520, 15728640, 256)",
                  "NewTrackMedia(61, 'vide', 600, 0, 0)",
                  "NewMovieTrack(52, 0, 0, 256)",
                  "NewTrackMedia(62, 'soun', 44100, 0, 0)",
                  "BeginMediaEdits(71)",
                  "BeginMediaEdits(72)"};
const Lines ended{"EndMediaEdits(71)",         "InsertMediaIntoTrack(61, -1, 0, 900, 65536)",
                  "EndMediaEdits(72)",         "InsertMediaIntoTrack(62, -1, 0, 66150, 65536)",
                  "AddMovieToStorage(52, 51)", "CloseMovieStorage(51)"};

class RecordingTest : public ControlTest {
protected:
    RecordingTest()
    {
        OpenSession();
        Quiet();
        canvas->VideoRecordSize(320, 240);
        std::ofstream(path) << "old";
    }
    ~RecordingTest() override { std::remove(path.c_str()); }
    void Quiet()
    {
        script.unnoted = {"SGGetChannelTimeScale", "GetMediaDuration", "GetMediaTimeScale", "SGGetChannelCounts",
                          "GetMovieStorageStatus"};
    }
    const std::string path = ::testing::TempDir() + "velmora control test.mov";
    const Reference<FolderItem> file = framework::New<FolderItem>(String(path));
};

TEST_F(RecordingTest, ByDataProcedure)
{
    canvas->Record(nullptr);
    EXPECT_FALSE(canvas->isActive);
    canvas->Record(file);
    Expect(begun);
    EXPECT_FALSE(file->Exists());
    EXPECT_TRUE(canvas->isActive && inside.isRecording);
    canvas->Stop();
    Expect(ended);
    EXPECT_FALSE(canvas->isActive || inside.isRecording);
}

// At a limit the next movie is complete before the present one is finished, and is the one that is finished later.
TEST_F(RecordingTest, ALimitContinuesInTheNextMovie)
{
    canvas->Limits.fileSeconds = 1;
    canvas->NextRecordingFile = [this](bool) { return file; };
    canvas->Record(file);
    script.Take();
    script.Writes("CreateMovieStorage", {{5, 53}, {6, 54}});
    script.answers["NewMovieTrack"] = [](const auto& a) { return a[1] != 0 ? 63 : 64; };
    script.answers["GetMediaDuration"] = [](const auto& a) { return a[0] % 2 == 1 ? 900 : 66150; };
    EXPECT_EQ(script.splits(false), path);
    const Lines next{begun[0],
                     begun[1],
                     "NewMovieTrack(54, 20971520, 15728640, 256)",
                     "NewTrackMedia(63, 'vide', 600, 0, 0)",
                     "NewMovieTrack(54, 0, 0, 256)",
                     "NewTrackMedia(64, 'soun', 44100, 0, 0)",
                     "BeginMediaEdits(73)",
                     "BeginMediaEdits(74)"};
    Expect(next + ended);
    canvas->Stop();
    EXPECT_EQ(script.Take().back(), "CloseMovieStorage(53)");
}

TEST_F(RecordingTest, DirectlyByTheGrabber)
{
    canvas->UseDataProc = false;
    script.Returns("CreateMovieFile", -1); // passes in silence
    canvas->Record(file);
    Expect({"CreateMovieFile(@, 'TVOD', -1, 0x70000000, 0, 0)", "SGSetDataOutput(12, @, 9)", "SGPrepare(12, 1, 1)",
            "SGStartRecord(12)"});
    EXPECT_TRUE(canvas->isActive && !inside.isRecording && inside.videoRecordWidth == 640);
    for (const auto& [function, code] : {std::pair{"SGStop", -1}, {"SGStartPreview", -2}, {"SGRelease", -3}})
        script.Returns(function, code);
    EXPECT_EQ(canvas->StopWithResult(), -2);
    Expect({"SGStop(12)", "> SGStop=-1", "Error(-1)", "SGRelease(12)", "> SGRelease=-3", "Error(-3)",
            "SGStartPreview(12)", "Error(-2)"});
}

// The status is composed from the writer, the channel's counts and the clock.
TEST_F(RecordingTest, Status)
{
    EXPECT_FALSE(canvas->Status().recording);
    canvas->Record(file);
    const OwnedBlock buffer(16);
    for (int i = 0; i < 3; ++i) {
        script.Returns("AddMediaSample", i == 2 ? -36 : 0);
        inside.Append(scripted::kVideo, buffer.Get(), 16);
    }
    const RecordingStatus status = canvas->Status();
    EXPECT_TRUE(status.recording && !status.finished);
    EXPECT_EQ(status.path, path);
    EXPECT_EQ(status.frames, 2U);
    EXPECT_EQ(status.lost, 1U);
    script.Returns("AddMediaSample", 0);
    inside.Append(scripted::kVideo, buffer.Get(), 16);
    script.Returns("CloseMovieStorage", -34);
    canvas->Stop();
    EXPECT_FALSE(canvas->Status().recording);
    EXPECT_EQ(canvas->Status().frames, 3U) << "also those after the last look";
    EXPECT_EQ(canvas->Status().failure, -34) << "a recording that was not finished is not called finished";

    canvas->UseDataProc = false;
    canvas->Record(file);
    EXPECT_EQ(canvas->Status().bytes, 7) << "reported by the grabber";
    script.Returns("SGGetRecordingStatus", 1);
    EXPECT_FALSE(canvas->Status().recording) << "the grabber could not begin";

    RunningCount count;
    count.Begin(7);
    EXPECT_EQ(count.Follow(10), 3U);
    EXPECT_EQ(count.Follow(4), 7U) << "the session was started again";
}

TEST_F(RecordingTest, Failures)
{
    const struct {
        const Lines& lines; // of the beginning or of the end
        const char* function;
        int32_t failing; // the size, track, media or movie of the call that fails
        int32_t result;
        int calls;
        const char* message;
        bool raises;
    } cases[] = {
        {begun, "NewMovieTrack", 320 * 65536, 0, 3, "NewMovieTrack failed(video).", false},
        {begun, "NewTrackMedia", 61, 0, 4, "NewTrackMedia failed. (video)", false},
        {begun, "NewMovieTrack", 0, 0, 5, "NewMovieTrack failed. (sound)", false},
        {begun, "NewTrackMedia", 62, 0, 6, "NewTrackMedia failed. (sound)", false},
        {begun, "BeginMediaEdits", 71, -1, 7, "error beginmediaedits (video)", false},
        {begun, "BeginMediaEdits", 72, -1, 8, "error beginmediaedits (sound)", false},
        {ended, "EndMediaEdits", 71, -8, 1, "error EndMediaEdits (video buffer)", false},
        {ended, "InsertMediaIntoTrack", 61, -8, 2, "error InsertMediaIntoTrack (video) clip", true},
        {ended, "EndMediaEdits", 72, -8, 3, "error EndMediaEdits (sound)", true},
        {ended, "InsertMediaIntoTrack", 62, -8, 4, "error InsertMediaIntoTrack (sound) clip: -8", true},
        {ended, "AddMovieToStorage", 52, 8, 6, nullptr, false},
        {ended, "CloseMovieStorage", 51, -8, 6, nullptr, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.function << c.failing);
        scripted::Reset();
        Quiet();
        if (&c.lines == &ended)
            canvas->Record(file);
        script.Take();
        const size_t place = c.function == std::string("NewMovieTrack") ? 1 : 0;
        script.answers[c.function] = [&c, place, plain = script.answers[c.function]](const auto& a) {
            return a[place] == c.failing ? c.result : plain ? plain(a) : 0;
        };
        const int32_t breaks = framework::BreakCount();
        if (c.raises)
            EXPECT_THROW(canvas->Stop(), Reference<framework::RuntimeException>);
        else if (&c.lines == &ended)
            canvas->Stop();
        else
            canvas->Record(file);
        Lines expected(c.lines.begin(), c.lines.begin() + c.calls);
        if (c.message != nullptr)
            expected.push_back(std::string("MsgBox(") + c.message + ")");
        Expect(expected);
        EXPECT_EQ(framework::BreakCount(), breaks + (c.message == nullptr ? 1 : 0));
        EXPECT_EQ(inside.isRecording, &c.lines == &begun) << "a recording begins whatever was met";
    }
}

TEST_F(RecordingTest, FirstSoundIsTrimmedToTheVideoSoFar)
{
    const struct {
        std::vector<int32_t> frames; // durations of the video before the sound
        int32_t length;
        int channels, bits;
        Lines added; // of the first buffer
    } cases[] = {
        {{100, 150, 50}, 176400, 2, 16, {"AddMediaSample(72, @, 88200, 88200, 1, @, 22050, 0, 0)"}},
        {{300}, 400, 2, 16, {"AddMediaSample(72, @, -87800, 88200, 1, @, 22050, 0, 0)"}}, // shorter than the video
        {{}, 400, 2, 16, {}},                                                             // before any video
        {{4, 2}, 1000, 1, 8, {"AddMediaSample(72, @, 559, 441, 1, @, 441, 0, 0)"}},
    };
    script.unnoted.insert({"SGGetChannelInfo", "SGGetChannelSampleDescription"});
    canvas->Record(file);
    script.Take();
    for (const auto& c : cases) {
        script.answers["SGGetChannelSampleDescription"] = [&c](const auto& a) {
            return scripted::FillSoundDescription(a[1], c.channels, c.bits, 44100), 0;
        };
        inside.gotaudio = false;
        inside.preaudiotimeval = 0;
        const OwnedBlock buffer(c.length);
        for (const int32_t duration : c.frames)
            inside.Append(scripted::kVideo, buffer.Get(), 16, duration);
        script.Take();
        const int64_t before = platform::BytesInUse();
        inside.Append(scripted::kSound, buffer.Get(), c.length);
        Expect(c.added);
        EXPECT_TRUE(inside.gotaudio);
        EXPECT_EQ(platform::BytesInUse(), before) << "handles are disposed";
    }
}

} // namespace
} // namespace velmora
