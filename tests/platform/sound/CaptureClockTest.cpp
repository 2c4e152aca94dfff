// SPDX-License-Identifier: MIT
#include "platform/sound/CaptureClock.h"

#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <random>

using platform::CaptureClock;

namespace {

constexpr int64_t kMillisecond = 1'000'000;
constexpr int64_t kBuffer = 10 * kMillisecond; // 480 frames at 48000
constexpr int64_t kForever = INT64_MAX;

// However a server or a busy machine errs in its measurements: nothing was lost, and the stamps neither jump nor lag.
TEST(CaptureClock, EvensOutMeasurementErrors)
{
    std::mt19937 random(1);
    std::uniform_int_distribution<int64_t> scatter(-5 * kMillisecond, 5 * kMillisecond);
    // A latency that is reported too large at first, and shrinks to the real one.
    const auto settling = [](int64_t excess) {
        return [excess](int i) { return -std::max<int64_t>(excess - i * 3 * kMillisecond, 0); };
    };
    const struct {
        const char* name;
        std::function<int64_t(int)> error; ///< of a buffer's measurement
        double drift;                      ///< of the device's clock
        int buffers;
        int settled;                  ///< after how many buffers the second of the tolerances holds
        int64_t tolerance, tolerated; ///< of the stamps
    } cases[] = {
        {"scatter", [&](int) { return scatter(random); }, 1.0005, 6000, 65, 10 * kMillisecond, 3 * kMillisecond},
        {"60 ms too much", settling(60 * kMillisecond), 1, 300, 200, kForever, 3 * kMillisecond},
        {"250 ms too much", settling(250 * kMillisecond), 1, 300, 200, kForever, 3 * kMillisecond},
        // A quarter of the measurements is late, in runs of up to eight, by up to half a second.
        {"late", [&](int i) { return i > 64 && i % 32 < 8 ? random() % 500 * kMillisecond : 0; }, 1, 60000, 0, 1, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        CaptureClock clock;
        int64_t last = -1;
        for (int i = 0; i < c.buffers; ++i) {
            const auto truth = static_cast<int64_t>(static_cast<double>(i * kBuffer) * c.drift) + 1000 * kMillisecond;
            const auto stamp = clock.Take(truth + c.error(i), 480, 48000);
            ASSERT_GT(stamp.time, last) << i;
            ASSERT_EQ(stamp.framesLost, 0U) << i;
            ASSERT_LT(std::abs(stamp.time - truth), i < c.settled ? c.tolerance : c.tolerated) << i;
            last = stamp.time;
        }
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

} // namespace
