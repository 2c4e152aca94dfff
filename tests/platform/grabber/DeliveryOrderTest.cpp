// SPDX-License-Identifier: MIT
#include "TestSession.h"

#include <algorithm>
#include <random>

using namespace grabbertest;

namespace {

constexpr int64_t kStart = 10 * kSecond;
constexpr int64_t kInterval = kSecond / 30;
const std::vector<uint8_t> kFrame = FrameOf();

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
            if (onIdle)
                onIdle();
        }
    }

    void Renew()
    {
        CloseComponent(session);
        session = OpenDefaultComponent(CodeOf("barg"), 0);
        SGInitialize(session);
    }

    int64_t NextInterval()
    {
        const double share = std::uniform_real_distribution(1 - jitter, 1 + jitter)(random);
        return static_cast<int64_t>(static_cast<double>(kInterval) * share);
    }

    int64_t now = kStart;
    std::vector<int64_t> frameTimes{kStart};
    int64_t soundTime = kStart - 7 * kMillisecond;
    int64_t cameraLatency = 20 * kMillisecond;
    int64_t soundLatency = 5;
    double jitter = 0;
    bool microphoneOn = true;
    std::mt19937 random{1};
    std::function<void()> onIdle;
};

TEST_F(DeliveryOrderTest, ComesInTheOrderOfCapture)
{
    for (const int64_t latency : {0, 60}) {
        StartBoth();
        soundLatency = latency;
        jitter = 0.3;
        RunUntil(now + 5 * kSecond);
        ASSERT_GT(VideoCount(), 130U);
        ASSERT_TRUE(delivered[0].isVideo);
        // The lead-in ends where the first frame begins.
        EXPECT_EQ(delivered[1].Frames(), 48000 / 5);
        int64_t position = 0; // in sample frames since the first frame
        int32_t lastTime = 0;
        for (size_t i = 2; i < delivered.size(); ++i) {
            const Delivered& buffer = delivered[i];
            ASSERT_GE(buffer.time, buffer.isVideo ? lastTime : 0);
            if (buffer.isVideo) {
                // All sound up to the frame has come, and none that ends behind it. Times are cut to units.
                ASSERT_NEAR(static_cast<double>(position) / 48000, buffer.time / 600.0, 0.002) << i;
                lastTime = buffer.time;
            } else {
                ASSERT_LE(buffer.Frames(), 480);
                ASSERT_NEAR(buffer.time, position, 2);
                position += buffer.Frames();
            }
        }
        EXPECT_EQ(SGGetChannelCounts(video).droppedInQueue, 0U);
        Renew();
        delivered.clear();
        frameTimes = {now};
        soundTime = now;
    }
}

// What the microphone gave comes out sample by sample, whatever pieces it was cut into.
TEST_F(DeliveryOrderTest, SoundIsHandedOverUntouched)
{
    soundLatency = 90; // every frame has to wait for its sound
    StartBoth();
    RunUntil(kStart + 3 * kSecond);
    std::vector<uint16_t> samples;
    for (size_t i = 2; i < delivered.size(); ++i)
        for (size_t byte = 0; !delivered[i].isVideo && byte < delivered[i].bytes.size(); byte += 4)
            samples.push_back(static_cast<uint16_t>(delivered[i].bytes[byte] | delivered[i].bytes[byte + 1] << 8));
    ASSERT_GT(samples.size(), 48000U * 2);
    const auto first = std::ranges::find_if(samples, [](uint16_t sample) { return sample != 0; }) - samples.begin();
    EXPECT_LT(first, 48000 / 5);
    for (size_t i = static_cast<size_t>(first) + 1; i < samples.size(); ++i)
        ASSERT_EQ(samples[i], static_cast<uint16_t>(samples[i - 1] + 1)) << i;
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
    int64_t position = 0;
    for (size_t i = 2; i < delivered.size(); ++i)
        if (delivered[i].isVideo)
            ASSERT_NEAR(static_cast<double>(position) / 48000, delivered[i].time / 600.0, 0.003) << i;
        else
            position += delivered[i].Frames();
    EXPECT_GT(position, 48000 * 7);
}
