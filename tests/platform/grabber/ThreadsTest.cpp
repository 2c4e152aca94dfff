// SPDX-License-Identifier: MIT
#include "TestSession.h"

#include "platform/clock/MonotonicClock.h"
#include "platform/drawing/PixelFormat.h"

#include <atomic>
#include <thread>

using namespace grabbertest;

namespace {

/// Runs something over and over on a thread of its own, until it goes.
class Repeating {
public:
    explicit Repeating(std::function<void()> what)
        : thread([this, what = std::move(what)] {
              while (!ended)
                  what();
          })
    {
    }
    ~Repeating()
    {
        ended = true;
        thread.join();
    }

private:
    std::atomic<bool> ended{false};
    std::thread thread;
};

} // namespace

// Devices that deliver on their own threads while everything that a caller may do is done: the sanitizers watch. Frames
// stay in order all the time.
TEST_F(GrabberTest, CallsWhileDevicesDeliver)
{
    StartBoth();
    const std::vector<uint8_t> pixels(size_t{64} * 48 * 2, 100);
    int32_t lastTime = -1;
    onDelivery = [&](const Delivered& buffer) {
        EXPECT_TRUE(!buffer.isVideo || buffer.time >= lastTime);
        if (buffer.isVideo)
            lastTime = buffer.time;
        return noErr;
    };
    TestCamera& camera = *devices.Camera();
    TestMicrophone& microphone = *devices.Microphone();
    FrameSink* const frames = camera.sink;
    SoundSink* const samples = microphone.sink;
    std::atomic<int64_t> time{kSecond};
    {
        const Repeating filming([&, sequence = 0U]() mutable {
            const int64_t at = time += kMillisecond;
            frames->FrameArrived({{pixels, kYuvsPixelFormat, 64, 48}, at, sequence++});
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        });
        const Repeating listening([&, at = kSecond]() mutable {
            samples->SoundArrived({pixels, {48000, 2, 16}, at, 0});
            at += static_cast<int64_t>(pixels.size()) / 4 * kSecond / 48000;
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        });
        for (int i = 0; i < 400; ++i) {
            TestDevices::SetTime(time);
            EXPECT_EQ(SGIdle(session), noErr);
            delivered.clear();
            switch (i % 8) {
            case 0:
                SGSetVideoCompressor(video, 24, CodeOf(i % 16 == 0 ? "yuvs" : "jpeg"), i, 0, 0);
                break;
            case 2:
                SGPause(session, i / 8 % 2);
                break;
            case 4:
                SGSetSoundInputParameters(sound, 16, 1, CodeOf(i % 16 == 4 ? "ulaw" : "twos"));
                break;
            case 6:
                SGGetChannelCounts(video);
                break;
            default:
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        }
        SGPause(session, 0);
    }
    EXPECT_EQ(SGStop(session), noErr);
    EXPECT_GT(SGGetChannelCounts(video).delivered, 0U);
    EXPECT_GT(SGGetChannelCounts(sound).delivered, 0U);
    EXPECT_GT(lastTime, 0);
}
