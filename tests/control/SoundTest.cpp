// SPDX-License-Identifier: MIT
#include "control/ControlTest.h"
#include "platform/memory/Handles.h"

namespace velmora {
namespace {

using scripted::Arguments;

TEST_F(ControlTest, SoundInput)
{
    OpenSession();
    script.Writes("SPBGetDeviceInfo", {{2, 3}});
    EXPECT_EQ(canvas->SoundInput(), 2);
    canvas->SoundInput(0);
    script.Returns("SPBGetDeviceInfo", -1);
    EXPECT_EQ(canvas->SoundInput(), -1);
    ExpectAmong({"SPBGetDeviceInfo(31, 'sour', @)", "SPBSetDeviceInfo(31, 'sour', 0x00000001)", "Error(-1)"});
    script.Returns("SGGetSoundInputDriver", 0);
    canvas->SoundInput(4);
    Expect({"SGGetSoundInputDriver(21)"});
}

TEST_F(ControlTest, SoundParameters)
{
    OpenSession();
    int16_t bits = 16, channels = 2;
    int32_t result = 0;
    script.answers["SGGetSoundInputParameters"] = [&](const Arguments& a) {
        platform::Poke(a[1], bits);
        platform::Poke(a[2], channels);
        platform::Poke(a[3], platform::CodeOf("twos"));
        return result;
    };
    script.unnoted = {"SGGetSoundInputParameters"};
    EXPECT_EQ(canvas->SoundSampleSize(), 16);
    EXPECT_EQ(canvas->SoundChannelCount(), 2);
    EXPECT_EQ(canvas->SoundCompressionType(), String("sowt"));
    canvas->SoundSampleSize(8);
    canvas->SoundCompressionType("ulaw");
    channels = 0;
    result = -1;
    script.Returns("SGSetSoundInputParameters", -2);
    canvas->SoundChannelCount(1); // both failures are reported, and the write is tried
    EXPECT_THROW(canvas->SoundCompressionType("raw "), framework::NilObjectException);
    bits = 0;
    channels = 2;
    EXPECT_THROW(canvas->SoundCompressionType("raw "), framework::NilObjectException);
    Expect({"SGSetSoundInputParameters(21, 8, 2, 'twos')", "SGSetSoundInputParameters(21, 16, 2, 'ulaw')", "Error(-1)",
            "SGSetSoundInputParameters(21, 16, 1, 'twos')", "Error(-2)", "Error(-1)", "Error(-1)"});
}

TEST_F(ControlTest, RateVolumeAndGain)
{
    OpenSession();
    canvas->SoundSampleRate(44100);
    script.Returns("SGGetSoundInputRate", static_cast<int32_t>((44100U << 16) + 0xFFFF));
    EXPECT_EQ(canvas->SoundSampleRate(), 44100);
    script.Writes("SGGetChannelVolume", {{1, 0x7F00FFFF}});
    EXPECT_EQ(canvas->SoundVolume(), -1);
    canvas->SoundInputGain(1.5);
    script.Writes("SPBGetDeviceInfo", {{2, 0x8000}});
    EXPECT_EQ(canvas->SoundInputGain(), 0.5);
    ExpectAmong({"SGSetSoundInputRate(21, 0xAC440000)", "SPBSetDeviceInfo(31, 'gain', 0x00018000)",
                 "SPBGetDeviceInfo(31, 'gain', @)"});
    script.Returns("SPBGetDeviceInfo", -231);
    EXPECT_EQ(canvas->SoundInputGain(), 0.0);
    EXPECT_EQ(script.Take().back(), "Error(-231)");
}

TEST_F(ControlTest, LevelMeter)
{
    OpenSession();
    const struct {
        std::function<int32_t()> read;
        const char* call;
        int32_t value;
    } cases[] = {
        {[&] { return canvas->SoundLevelMeterActive(); }, "SPBGetDeviceInfo(31, 'lmet', @)", 0},
        {[&] { return canvas->SoundLevelMeterChannelCount(); }, "SPBGetDeviceInfo(31, 'gain', @)", -3},
        {[&] { return canvas->SoundLevelMeterLeft(); }, "SPBGetDeviceInfo(31, 'lmac', @)", 0x80},
        {[&] { return canvas->SoundLevelMeterRight(); }, "SPBGetDeviceInfo(31, 'lmac', @)", 0xFF},
    };
    for (const auto& c : cases) {
        script.Writes("SPBGetDeviceInfo", {{2, static_cast<int32_t>(0xFF80FFFD)}}); // low half -3: below 1 is off
        EXPECT_EQ(c.read(), c.value);
        script.Returns("SPBGetDeviceInfo", -231);
        EXPECT_EQ(c.read(), 0);
        ExpectAmong({c.call, c.call, "Error(-231)"});
    }
    script.Writes("SPBGetDeviceInfo", {{2, 1}});
    EXPECT_TRUE(canvas->SoundLevelMeterActive());
    script.Writes("SGGetSoundInputParameters", {{2, 2}});
    canvas->SoundLevelMeterActive(true);
    canvas->SoundLevelMeterActive(false);
    ExpectAmong({"SPBSetDeviceInfo(31, 'lmet', 0x00000002)", "SPBSetDeviceInfo(31, 'lmet', 0x00000000)"});
}

} // namespace
} // namespace velmora
