// SPDX-License-Identifier: MIT
#include "platform/clock/MonotonicClock.h"
#include "platform/sound/SoundInput.h"

#include <cstring>
#include <gtest/gtest.h>
#include <tuple>

using namespace platform;

namespace {

std::vector<uint8_t> Stereo16(int16_t left, int16_t right)
{
    std::vector<uint8_t> bytes(40);
    std::memcpy(bytes.data() + 20, &left, 2);
    std::memcpy(bytes.data() + 22, &right, 2);
    return bytes;
}

using Levels = std::pair<double, double>;

int64_t now = 0;

class LevelMeterTest : public testing::Test {
protected:
    LevelMeterTest()
    {
        SetMonotonicClock([] { return now; });
        meter.SetChannels(2);
    }
    ~LevelMeterTest() override { SetMonotonicClock(nullptr); }

    void Feed(const std::vector<uint8_t>& bytes, int32_t channels = 2, int32_t sampleSize = 16)
    {
        meter.Feed({bytes, {48000, channels, sampleSize}, 0, 0});
    }

    LevelMeter meter;
};

TEST_F(LevelMeterTest, MeasuresThePeakOfEachChannel)
{
    const std::tuple<std::vector<uint8_t>, int32_t, int32_t, Levels> cases[] = {
        {Stereo16(16384, -8192), 2, 16, {0.5, 0.25}},
        {Stereo16(0, -32768), 2, 16, {0, 1}},
        {Stereo16(0, -16384), 1, 16, {0.5, 0.5}},
        {{128, 128, 192, 64, 128, 0}, 2, 8, {0.5, 1}},
        {{128, 96}, 1, 8, {0.25, 0.25}},
        {{0, 0, 0x40, 0, 0, 0xE0}, 2, 24, {0.5, 0.25}},
        {{0, 2, 3}, 2, 16, {1.0 / 64, 0}}, // half a frame
    };
    for (const auto& [bytes, channels, sampleSize, levels] : cases) {
        meter.SetChannels(2);
        Feed(bytes, channels, sampleSize);
        EXPECT_EQ(meter.Levels(), levels);
    }
}

TEST_F(LevelMeterTest, HoldsThePeakUntilItIsReadAndFallsWhenNothingComes)
{
    Feed(Stereo16(16384, 0));
    Feed(Stereo16(0, 8192));
    EXPECT_EQ(meter.Levels(), Levels(0.5, 0.25));
    EXPECT_EQ(meter.Levels(), Levels(0.5, 0.25)) << "the other side, read by a second call";
    Feed(Stereo16(4096, 0));
    EXPECT_EQ(meter.Levels(), Levels(0.125, 0));
    now += kNanosecondsPerSecond;
    EXPECT_EQ(meter.Levels(), Levels());
    Feed(Stereo16(4096, 0));
    EXPECT_EQ(meter.Levels(), Levels(0.125, 0));
}

} // namespace
