// SPDX-License-Identifier: MIT
#include "TestSession.h"

#include "platform/drawing/PixelFormat.h"

#include <atomic>
#include <thread>

using namespace grabbertest;

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
    FrameSink* const frames = devices.Camera()->sink;
    SoundSink* const samples = devices.Microphone()->sink;
    std::atomic<int64_t> time{kSecond};
    {
        const std::jthread filming([&](const std::stop_token& end) {
            for (uint32_t sequence = 0; !end.stop_requested(); ++sequence) {
                frames->FrameArrived({{pixels, kYuvsPixelFormat, 64, 48}, time += kMillisecond, sequence});
                std::this_thread::sleep_for(std::chrono::microseconds(200));
            }
        });
        const std::jthread listening([&](const std::stop_token& end) {
            for (int64_t at = kSecond; !end.stop_requested(); at += kSecond * 1536 / 48000) {
                samples->SoundArrived({pixels, {48000, 2, 16}, at, 0});
                std::this_thread::sleep_for(std::chrono::microseconds(200));
            }
        });
        const std::function<void(int)> calls[] = {
            [&](int i) { SGSetVideoCompressor(video, 24, CodeOf(i % 2 == 0 ? "yuvs" : "jpeg"), 8 * i, 0, 0); },
            [&](int i) { SGPause(session, i % 2); },
            [&](int i) { SGSetSoundInputParameters(sound, 16, 1, CodeOf(i % 2 == 0 ? "ulaw" : "twos")); },
            [&](int) { SGGetChannelCounts(video); },
        };
        for (int i = 0; i < 200; ++i) {
            TestDevices::SetTime(time);
            EXPECT_EQ(SGIdle(session), noErr);
            delivered.clear();
            calls[i % std::size(calls)](i / static_cast<int>(std::size(calls)));
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        SGPause(session, 0);
    }
    EXPECT_EQ(SGStop(session), noErr);
    EXPECT_GT(SGGetChannelCounts(video).delivered, 0U);
    EXPECT_GT(SGGetChannelCounts(sound).delivered, 0U);
    EXPECT_GT(lastTime, 0);
}
