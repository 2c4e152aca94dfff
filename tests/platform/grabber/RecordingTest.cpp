// SPDX-License-Identifier: MIT
#include "TestSession.h"

#include "platform/atoms/UserData.h"
#include "platform/events/EventLoop.h"
#include "platform/movies/Movies.h"
#include "support/Files.h"

#include <chrono>
#include <thread>

using namespace grabbertest;

namespace {

const std::vector<uint8_t> kFrame = FrameOf();

} // namespace

/// A data procedure that adds what comes to a movie of its own, as the capture control does.
class RecordingTest : public GrabberTest {
protected:
    RecordingTest()
    {
        StartBoth();
        onDelivery = [this](const Delivered& buffer) { return Add(buffer); };
    }
    ~RecordingTest() override
    {
        if (handler != 0)
            CloseMovieStorage(handler);
    }

    void Record()
    {
        const std::string path = folder / "movie.mov";
        const Handle reference = NewHandle(0);
        SetHandleBytes(reference, {reinterpret_cast<const uint8_t*>(path.data()), path.size()});
        ASSERT_EQ(CreateMovieStorage(reference, CodeOf("alis"), CodeOf("TVOD"), 0, createMovieFileDeleteCurFile,
                                     cell.Get(), cell.Get() + 4),
                  noErr);
        DisposeHandle(reference);
        handler = Peek<DataHandler>(cell.Get());
        const auto movie = Peek<Movie>(cell.Get() + 4);
        pictures = NewTrackMedia(NewMovieTrack(movie, 64 << 16, 48 << 16, 256), kVideoMediaType, 600, 0, 0);
        BeginMediaEdits(pictures);
    }

    Result Add(const Delivered& buffer)
    {
        if (!buffer.isVideo || pictures == 0)
            return noErr;
        const Handle data = NewHandle(0);
        const Handle description = NewHandle(0);
        SetHandleBytes(data, buffer.bytes);
        SetHandleBytes(description, buffer.description);
        EXPECT_EQ(AddMediaSample(pictures, data, 0, GetHandleSize(data), 20, description, 1, 0, 0), noErr);
        DisposeHandle(data);
        DisposeHandle(description);
        return noErr;
    }

    void Send(int64_t time)
    {
        devices.Camera()->Send(time, kFrame);
        devices.Microphone()->Send(time, 40);
    }

    test::TemporaryFolder folder;
    DataHandler handler = 0;
    Media pictures = 0;
};

// What was captured before a press is in the movie when the press arrives: what waits in the queue, and what comes from
// the device shortly after. Without a movie, input waits for nothing.
TEST_F(RecordingTest, InputComesBehindWhatWasCapturedBefore)
{
    int64_t now = 2 * kSecond;
    const auto run = [&](int frames) {
        for (int frame = 0; frame < frames; ++frame, now += 40 * kMillisecond) {
            TestDevices::SetTime(now);
            Send(now);
        }
    };
    run(10);
    NoteInput();
    EXPECT_TRUE(delivered.empty());
    IdleAt(now);
    Record();
    run(1);
    IdleAt(now);
    ASSERT_TRUE(IsMediaOpen(pictures));
    run(30);
    const size_t before = VideoCount();
    const uint64_t notShown = SGGetChannelCounts(video).notShown;
    TestDevices::SetTime(now);
    {
        FrameSink* const camera = devices.Camera()->sink;
        const std::jthread late([camera, now] {
            std::this_thread::sleep_for(std::chrono::milliseconds(30));
            camera->FrameArrived({{kFrame, CodeOf("jpeg"), 64, 48}, now - 10 * kMillisecond, 41});
        });
        NoteInput();
    }
    EXPECT_EQ(VideoCount() - before, 31U);
    EXPECT_EQ(SGGetChannelCounts(video).notShown - notShown, 31U);
    EXPECT_EQ(GetMediaDuration(pictures), 32 * 20);
}

// While a movie is written, its format can't change; afterwards it can.
TEST_F(RecordingTest, MovieKeepsItsFormat)
{
    const auto change = [&](Result expected) {
        const auto settings = Save();
        EXPECT_EQ(SGSetVideoFrameSize(video, 32, 24), expected);
        EXPECT_EQ(SGSetVideoCompressorType(video, CodeOf("yuvs")), expected);
        EXPECT_EQ(SGSetSoundInputRate(sound, 8000 << 16), expected);
        EXPECT_EQ(SGSetSoundInputParameters(sound, 16, 1, CodeOf("twos")), expected);
        EXPECT_EQ(SGSetSoundInputParameters(sound, 16, 2, CodeOf("ulaw")), expected);
        const Handle handle = NewHandle(0);
        SetHandleBytes(handle, settings);
        EXPECT_EQ(NewUserDataFromHandle(handle, cell.Get()), noErr);
        DisposeHandle(handle);
        const auto stored = Peek<UserData>(cell.Get());
        EXPECT_EQ(Save() == settings, expected != noErr);
        EXPECT_EQ(SGSetSettings(session, stored, 0), expected);
        DisposeUserData(stored);
    };
    Record();
    Send(2 * kSecond);
    IdleAt(2 * kSecond);
    change(cantDoThatInCurrentMode);
    EXPECT_EQ(SGSetFrameRate(video, 60 << 16), noErr);
    EXPECT_EQ(SGSetVideoCompressor(video, 0, 0, 100, -1, -1), noErr);
    SGPause(session, 1);
    change(cantDoThatInCurrentMode);
    EndMediaEdits(pictures);
    change(noErr);
}
