// SPDX-License-Identifier: MIT
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

using Levels = std::pair<uint8_t, uint8_t>;

TEST(LevelMeter, MeasuresThePeakOfEachChannel)
{
    const std::tuple<std::vector<uint8_t>, int32_t, int32_t, Levels> cases[] = {
        {Stereo16(16384, -8192), 2, 16, {128, 64}},
        {Stereo16(32767, -32768), 2, 16, {255, 255}},
        {Stereo16(0, -16384), 1, 16, {128, 128}},
        {{128, 128, 192, 64, 128, 0}, 2, 8, {128, 255}},
        {{128, 96}, 1, 8, {64, 64}},
        {{1, 2, 3}, 2, 16, {4, 0}}, // half a frame
    };
    for (const auto& [bytes, channels, sampleSize, levels] : cases) {
        LevelMeter meter;
        meter.Switch(2);
        meter.Feed({bytes, {48000, channels, sampleSize}, 0, 0});
        EXPECT_EQ(meter.Levels(), levels);
    }
}

TEST(LevelMeter, HoldsThePeakUntilItIsRead)
{
    LevelMeter meter;
    meter.Switch(2);
    meter.Feed({Stereo16(16384, 0), {48000, 2, 16}, 0, 0});
    meter.Feed({Stereo16(0, 8192), {48000, 2, 16}, 0, 0});
    EXPECT_EQ(meter.Levels(), Levels(128, 64));
    EXPECT_EQ(meter.Levels(), Levels(128, 64)) << "the other side, read by a second call";
    meter.Feed({Stereo16(4096, 0), {48000, 2, 16}, 0, 0});
    EXPECT_EQ(meter.Levels(), Levels(32, 0));
}

} // namespace
