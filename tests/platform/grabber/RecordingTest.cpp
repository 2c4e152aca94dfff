// SPDX-License-Identifier: MIT
#include "TestSession.h"

#include "platform/drawing/PixelFormat.h"
#include "platform/events/EventLoop.h"
#include "platform/movies/RecordedMovie.h"

#include <chrono>
#include <thread>

using namespace grabbertest;
using movietest::RecordedMovie;

namespace {

const std::vector<uint8_t> kFrame = FrameOf();

} // namespace

/// A data procedure that adds the frames to a movie of its own, as the capture control does.
class RecordingTest : public GrabberTest {
protected:
    RecordingTest()
    {
        StartBoth();
        onDelivery = [this](const Delivered& buffer) {
            return movie && buffer.isVideo ? movie->AddVideo(buffer.bytes, buffer.description, 20) : noErr;
        };
    }
    ~RecordingTest() override
    {
        if (movie)
            movie->Close();
    }

    void Send(int64_t time)
    {
        devices.Camera()->Send(time, kFrame);
        devices.Microphone()->Send(time, 40);
    }

    test::TemporaryFolder folder;
    std::unique_ptr<RecordedMovie> movie;
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
    movie = std::make_unique<RecordedMovie>(folder / "movie.mov");
    run(1);
    IdleAt(now);
    ASSERT_TRUE(IsMediaOpen(movie->video));
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
    EXPECT_EQ(GetMediaDuration(movie->video), 32 * 20);
    // Of a camera that is gone, what is still in a compressor.
    const std::vector<uint8_t> pixels(size_t{1920} * 1080 * 2);
    devices.Camera()->Send(now, {pixels, kYuvsPixelFormat, 1920, 1080});
    devices.Camera()->Fail(noDeviceForChannel);
    TestDevices::SetTime(now + kMillisecond);
    NoteInput();
    EXPECT_EQ(GetMediaDuration(movie->video), 33 * 20);
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
        EXPECT_EQ(Save() == settings, expected != noErr);
        EXPECT_EQ(Restore(settings), expected);
    };
    movie = std::make_unique<RecordedMovie>(folder / "movie.mov");
    Send(2 * kSecond);
    IdleAt(2 * kSecond);
    change(cantDoThatInCurrentMode);
    EXPECT_EQ(SGSetFrameRate(video, 60 << 16), noErr);
    EXPECT_EQ(SGSetVideoCompressor(video, 0, 0, 100, -1, -1), noErr);
    SGPause(session, 1);
    change(cantDoThatInCurrentMode);
    movie->Finish();
    change(noErr);
}
