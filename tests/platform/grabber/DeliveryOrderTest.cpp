// SPDX-License-Identifier: MIT
#include "TestSession.h"

#include <ranges>

using namespace grabbertest;

namespace {

constexpr int64_t kStart = 10 * kSecond;
constexpr int64_t kInterval = kSecond / 30;

} // namespace

/// The camera and the microphone run, with sound in buffers of 20 ms that come that much later than they began.
class DeliveryOrderTest : public GrabberTest {
protected:
    /// Lets devices deliver up to a moment and gives the session time every ten milliseconds.
    void RunUntil(int64_t end)
    {
        for (; now < end; now += 10 * kMillisecond) {
            TestDevices::SetTime(now);
            while (frameTimes.back() + cameraLatency <= now) {
                devices.Camera()->Send(frameTimes.back(), kFrame);
                frameTimes.push_back(frameTimes.back() + NextInterval());
            }
            for (; soundTime + (20 + soundLatency) * kMillisecond <= now; soundTime += 20 * kMillisecond)
                if (microphoneOn && devices.Microphone())
                    devices.Microphone()->Send(soundTime, 20);
            EXPECT_EQ(SGIdle(session), noErr);
        }
    }

    int64_t NextInterval()
    {
        const double share = std::uniform_real_distribution(1 - jitter, 1 + jitter)(random);
        return static_cast<int64_t>(static_cast<double>(kInterval) * share);
    }

    /// All sound up to each frame has come, and none that ends behind it. Times are cut to units.
    void ExpectInStep()
    {
        ASSERT_TRUE(delivered[0].isVideo);
        // The lead-in ends where the first frame begins.
        EXPECT_EQ(delivered[1].Frames(), 48000 / 5);
        int64_t position = 0; // in sample frames since the first frame
        for (size_t i = 2; i < delivered.size(); ++i)
            if (delivered[i].isVideo)
                ASSERT_NEAR(static_cast<double>(position) / 48000, delivered[i].time / 600.0, 0.003) << i;
            else
                position += delivered[i].Frames();
    }

    int64_t now = kStart;
    std::vector<int64_t> frameTimes{kStart};
    int64_t soundTime = kStart - 7 * kMillisecond;
    int64_t cameraLatency = 20 * kMillisecond;
    int64_t soundLatency = 5;
    double jitter = 0;
    bool microphoneOn = true;
    std::mt19937 random{1};
};

class DeliveryOrderByLatency : public DeliveryOrderTest, public testing::WithParamInterface<int64_t> {};
INSTANTIATE_TEST_SUITE_P(, DeliveryOrderByLatency, testing::Values(0, 60, 90));

// What the microphone gave comes out sample by sample, whatever pieces it was cut into.
TEST_P(DeliveryOrderByLatency, ComesInTheOrderOfCapture)
{
    soundLatency = GetParam();
    jitter = 0.3;
    StartBoth();
    RunUntil(kStart + 5 * kSecond);
    ASSERT_GT(VideoCount(), 130U);
    ExpectInStep();
    int64_t position = 0;
    uint16_t next = 0;
    for (const Delivered& buffer : delivered | std::views::drop(2)) {
        if (buffer.isVideo)
            continue;
        ASSERT_LE(buffer.Frames(), 480);
        ASSERT_NEAR(buffer.time, position, 2);
        position += buffer.Frames();
        for (size_t at = 0; at < buffer.bytes.size(); at += 4, ++next) {
            const auto sample = static_cast<uint16_t>(buffer.bytes[at] | buffer.bytes[at + 1] << 8);
            ASSERT_TRUE(sample == next || position < 48000 / 5) << position;
            next = sample;
        }
    }
    EXPECT_EQ(SGGetChannelCounts(video).droppedInQueue, 0U);
}

// A microphone that stops sending delays one frame, then silence replaces it; when it resumes, its sound is in sync
// again.
TEST_F(DeliveryOrderTest, SilenceStandsInForAMissingMicrophone)
{
    StartBoth();
    RunUntil(kStart + kSecond);
    microphoneOn = false;
    RunUntil(kStart + 3 * kSecond);
    EXPECT_GT(VideoCount(), 84U);
    EXPECT_NEAR(static_cast<double>(SoundFrames()), 48000 * 3.2, 48000 * 0.1);
    microphoneOn = true;
    RunUntil(kStart + 5 * kSecond);
    EXPECT_NEAR(static_cast<double>(SoundFrames()), 48000 * 5.2, 48000 * 0.1);
    const auto& last = delivered.back().isVideo ? delivered[delivered.size() - 2] : delivered.back();
    // The sample says when it was captured: the line is right to the sample after all that.
    const auto expected = static_cast<uint16_t>((kStart / kSecond * 48000) + last.time);
    EXPECT_NEAR(static_cast<int16_t>(last.FirstSample() - expected), 0, 1);
}

TEST_F(DeliveryOrderTest, LostSoundAndPausesAreFilledUp)
{
    StartBoth();
    RunUntil(kStart + kSecond);
    soundTime += 100 * kMillisecond; // a tenth of a second never comes
    RunUntil(kStart + 2 * kSecond);
    SGPause(session, 1);
    RunUntil(kStart + 3 * kSecond);
    SGPause(session, 0);
    RunUntil(kStart + 4 * kSecond);
    SGStop(session);
    RunUntil(kStart + 6 * kSecond);
    SGStartRecord(session);
    RunUntil(kStart + 8 * kSecond);
    ExpectInStep();
    EXPECT_GT(SoundFrames(), 48000 * 7);
}
