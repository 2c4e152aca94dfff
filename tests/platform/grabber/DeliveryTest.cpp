// SPDX-License-Identifier: MIT
#include "TestDevices.h"

#include "platform/drawing/PixelFormat.h"
#include "platform/grabber/Delivery.h"

#include <gtest/gtest.h>

using namespace grabbertest;

namespace {

/// A camera and a microphone without a session, and what a delivery hands over of them.
class ChannelsTest : public testing::Test, protected DeliverySink {
protected:
    struct Taken {
        char kind = 0; ///< 'f': a frame, 's': a frame that is shown
        int64_t captureTime = 0;
        bool operator==(const Taken&) const = default;
    };

    ChannelsTest()
    {
        for (const auto& channel : channels.all) {
            RegisterChannel(channel);
            channel->OpenTrackQueue(1000);
            channel->usage = seqGrabRecord;
            channel->Run();
            channel->Accept(true);
        }
        TestDevices::SetTime(kSecond);
    }
    ~ChannelsTest() override
    {
        for (const auto& channel : channels.all) {
            channel->Halt();
            UnregisterChannel(channel->number);
        }
    }

    Result TakeFrame(VideoChannel& channel, Sample frame, int32_t time, bool shown) override
    {
        taken.push_back({shown ? 's' : 'f', frame.captureTime});
        times.push_back(time);
        channel.newest = std::move(frame);
        return result;
    }
    Result TakeSound(SoundChannel&, const SoundStream::Piece&, int32_t) override { return noErr; }
    bool WantsSound() const override { return withSound; }
    bool GoesOn() const override { return true; }

    void SendFrames(int first, int last)
    {
        for (int frame = first; frame <= last; ++frame)
            devices.Camera()->Send(kSecond + frame * kFrame, FrameOf());
    }
    std::vector<Taken> Frames(const std::string& kinds, int first = 0)
    {
        std::vector<Taken> frames;
        for (const char kind : kinds)
            frames.push_back({kind, kSecond + first++ * kFrame});
        return frames;
    }

    static constexpr int64_t kFrame = 20 * kMillisecond;
    TestDevices devices;
    SampleQueue queue;
    std::shared_ptr<VideoChannel> camera = std::make_shared<VideoChannel>(queue, OpenDigitizer());
    std::shared_ptr<SoundChannel> microphone = std::make_shared<SoundChannel>(queue, OpenSoundSource());
    ChannelList channels{{camera, microphone}, {camera}, {microphone}};
    Delivery delivery{queue, channels, *this};
    bool withSound = false;
    Result result = noErr;
    std::vector<Taken> taken;
    std::vector<int32_t> times;
};

} // namespace

// Few frames go out one in a pass; of many all go out, and the newest is shown.
TEST_F(ChannelsTest, WritesAllAndShowsTheNewest)
{
    SendFrames(0, 2);
    for (int pass = 0; pass < 4; ++pass)
        delivery.Run({.now = kSecond});
    EXPECT_EQ(taken, Frames("sss"));
    SendFrames(3, 22);
    taken.clear();
    delivery.Run({.now = kSecond});
    EXPECT_EQ(taken, Frames("fffffffffffffffffffs", 3));
    EXPECT_EQ(camera->Counts().notShown, 19U);
    taken.clear();
    SendFrames(23, 25);
    delivery.Run({.now = kSecond, .shows = false, .until = kSecond + 25 * kFrame});
    EXPECT_EQ(taken, Frames("ff", 23));
    // What comes while a pass runs waits for the next one.
    TestDevices::SetTime(kSecond + 1);
    SendFrames(26, 30);
    taken.clear();
    delivery.Run({.now = kSecond});
    EXPECT_EQ(taken, Frames("s", 25));
    // A failure ends the pass.
    result = ioErr;
    EXPECT_EQ(delivery.Run({.now = kSecond + 1}), ioErr);
    EXPECT_EQ(taken.size(), 2U);
}

// A driver that falls behind gives several frames one stamp: in a movie each must last.
TEST_F(ChannelsTest, FramesOfOneStampStillFollowOneAnother)
{
    for (const int frame : {0, 0, 0, 1})
        SendFrames(frame, frame);
    for (int pass = 0; pass < 4; ++pass)
        delivery.Run({.now = kSecond});
    EXPECT_EQ(times, (std::vector<int32_t>{0, 1, 2, 12}));
}

// Frames wait for the sound before them; the last one that it has reached is shown.
TEST_F(ChannelsTest, ShowsTheLastFrameThatSoundHasReached)
{
    withSound = true;
    devices.Microphone()->Send(kSecond - 100 * kMillisecond, 210);
    SendFrames(0, 9);
    delivery.Run({.now = kSecond});
    EXPECT_EQ(taken, Frames("fffffs"));
    taken.clear();
    delivery.Run({.now = kSecond});
    EXPECT_TRUE(taken.empty());
    EXPECT_TRUE(delivery.AwaitsFrameBefore(kSecond + 7 * kFrame, kSecond));
    delivery.Run({.now = kSecond, .shows = false, .waitsForSound = false, .until = kSecond + 7 * kFrame});
    EXPECT_EQ(taken, Frames("f", 6));
}

// A frame that the device still holds is awaited for as long as frames take to arrive, and one in a compressor until it
// is through.
TEST_F(ChannelsTest, FramesOnTheirWayAreAwaited)
{
    const int64_t now = kSecond + 40 * kMillisecond;
    TestDevices::SetTime(now);
    SendFrames(0, 0); // arrives after 40 ms
    delivery.Run({.now = now});
    EXPECT_FALSE(delivery.AwaitsFrameBefore(kSecond, now));
    EXPECT_TRUE(delivery.AwaitsFrameBefore(now, now + 30 * kMillisecond));
    EXPECT_FALSE(delivery.AwaitsFrameBefore(now, now + 60 * kMillisecond));
    camera->SetCompression({.codec = kYuvsPixelFormat});
    const auto picture = JpegPicture(640, 480, 5);
    devices.Camera()->Send(kSecond + kFrame, {picture, CodeOf("jpeg"), 640, 480});
    EXPECT_TRUE(delivery.AwaitsFrameBefore(kSecond + 2 * kFrame, now + 60 * kMillisecond));
    camera->FinishArrived();
    taken.clear();
    delivery.Run({.now = now});
    EXPECT_EQ(taken, Frames("s", 1));
    EXPECT_FALSE(delivery.AwaitsFrameBefore(kSecond + 2 * kFrame, now + 60 * kMillisecond));
}
