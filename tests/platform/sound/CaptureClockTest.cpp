// SPDX-License-Identifier: MIT
#include "platform/sound/CaptureClock.h"

#include <cmath>
#include <gtest/gtest.h>
#include <random>

using platform::CaptureClock;

namespace {

constexpr int64_t kMillisecond = 1'000'000;
constexpr int64_t kBuffer = 10 * kMillisecond; // 480 frames at 48000

TEST(CaptureClock, EvensOutMeasurementsThatScatter)
{
    CaptureClock clock;
    std::mt19937 random(1);
    std::uniform_int_distribution<int64_t> scatter(-5 * kMillisecond, 5 * kMillisecond);
    const double drift = 1.0005; // the device's clock is slow by 500 millionths
    int64_t last = -1;
    for (int i = 0; i < 6000; ++i) {
        const auto truth = static_cast<int64_t>(static_cast<double>(i * kBuffer) * drift) + 1000 * kMillisecond;
        const auto stamp = clock.Take(truth + scatter(random), 480, 48000);
        ASSERT_GT(stamp.time, last);
        ASSERT_EQ(stamp.framesLost, 0U);
        ASSERT_LT(std::abs(stamp.time - truth), (i > 64 ? 3 : 10) * kMillisecond) << i;
        last = stamp.time;
    }
}

TEST(CaptureClock, CountsWhatIsMissing)
{
    CaptureClock clock;
    int64_t now = 0;
    const auto take = [&] { return clock.Take(std::exchange(now, now + kBuffer), 480, 48000); };
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(take().framesLost, 0U);

    now += 500 * kMillisecond; // a jump in mid-stream, believed when it lasts
    for (int i = 0; i < 9; ++i)
        EXPECT_EQ(take().framesLost, 0U);
    auto stamp = take();
    EXPECT_EQ(stamp.framesLost, 24000U);
    EXPECT_EQ(stamp.time, 690 * kMillisecond);

    now += 50 * kMillisecond; // known to the source, which reports it itself
    clock.Skip(2400, 48000);
    EXPECT_EQ(take().framesLost, 0U);

    now += 20 * kMillisecond; // too short to be distinguished from jitter, unless an interruption is known
    clock.Interrupt();
    stamp = take();
    EXPECT_EQ(stamp.framesLost, 960U);
    EXPECT_EQ(stamp.time, 780 * kMillisecond);
}

// A server that reports 229 ms at first and then the 169 ms that it has: nothing was lost.
TEST(CaptureClock, ALatencyThatSettlesIsNoLoss)
{
    for (const int64_t fall : {60 * kMillisecond, 250 * kMillisecond}) {
        CaptureClock clock;
        int64_t last = -1;
        for (int i = 0; i < 300; ++i) {
            const int64_t truth = 1000 * kMillisecond + i * kBuffer;
            const auto stamp = clock.Take(truth - std::max<int64_t>(fall - i * 3 * kMillisecond, 0), 480, 48000);
            ASSERT_EQ(stamp.framesLost, 0U) << i;
            ASSERT_GT(stamp.time, last);
            last = stamp.time;
            ASSERT_TRUE(i < 200 || std::abs(stamp.time - truth) < 3 * kMillisecond) << i;
        }
    }
}

// A busy machine measures late, sometimes a little and sometimes much: nothing was lost, and the stamps do not jump.
TEST(CaptureClock, LateMeasurementsMoveNothing)
{
    CaptureClock clock;
    std::mt19937 random(1);
    for (int i = 0; i < 60000; ++i) {
        const int64_t truth = i * kBuffer;
        // A quarter of the measurements is late, in runs of up to eight, by up to half a second.
        const int64_t late = i > 64 && i % 32 < 8 ? static_cast<int64_t>(random() % 500) * kMillisecond : 0;
        const auto stamp = clock.Take(truth + late, 480, 48000);
        ASSERT_EQ(stamp.framesLost, 0U);
        ASSERT_EQ(stamp.time, truth) << i;
    }
}

} // namespace
