#include "control/ControlTest.h"
#include "platform/memory/Handles.h"

namespace velmora {
namespace {

using scripted::Arguments;

TEST_F(ControlTest, SizesRatesAndTypes)
{
    OpenSession();
    script.Returns("SGGetSrcVideoBounds", -9406);
    EXPECT_EQ(canvas->VideoSourceWidth(), 640);
    script.answers["VDGetImageDescription"] = [](const Arguments& a) {
        return scripted::FillImageDescription(a[1], 720, 576), -2;
    };
    EXPECT_EQ(canvas->VideoWidth(), 720);
    canvas->VideoFrameRate(29.97);
    script.Writes("SGGetFrameRate", {{1, -98304}});
    EXPECT_EQ(canvas->VideoFrameRate(), -1.5);
    canvas->VideoCompressionType("jpeg");
    canvas->SoundSampleRate(44100);
    canvas->SoundInputGain(1.5);
    script.Writes("SPBGetDeviceInfo", {{2, 0x8000}});
    EXPECT_EQ(canvas->SoundInputGain(), 0.5);
    script.Writes("SPBGetDeviceInfo", {{2, static_cast<int32_t>(0xFF80FFFD)}});
    EXPECT_EQ(canvas->SoundLevelMeterLeft(), 0x80);
    EXPECT_EQ(canvas->SoundLevelMeterRight(), 0xFF);
    ExpectAmong({"> SGGetSrcVideoBounds err =-9406", "SGSetFrameRate(22, 1964113)", "Error(0)",
                 "SGSetVideoCompressorType(22, 'jpeg')", "SGSetSoundInputRate(21, 0xAC440000)",
                 "SPBSetDeviceInfo(31, 'gain', 0x00018000)", "SPBGetDeviceInfo(31, 'gain', @)",
                 "SPBGetDeviceInfo(31, 'lmac', @)"});
    // The type comes back in the order of memory.
    script.Writes("SGGetVideoCompressorType", {{1, static_cast<int32_t>(platform::CodeOf("jpeg"))}});
    EXPECT_EQ(canvas->VideoCompressionType(), String("gepj"));
}

TEST_F(ControlTest, SoundParameters)
{
    OpenSession();
    int16_t channels = 2;
    int32_t result = 0;
    script.answers["SGGetSoundInputParameters"] = [&](const Arguments& a) {
        platform::Poke<int16_t>(a[1], 16);
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
    canvas->SoundChannelCount(1); // both failures are told, and the write is tried
    EXPECT_THROW(canvas->SoundCompressionType("raw "), framework::NilObjectException);
    Expect({"SGSetSoundInputParameters(21, 8, 2, 'twos')", "SGSetSoundInputParameters(21, 16, 2, 'ulaw')", "Error(-1)",
            "SGSetSoundInputParameters(21, 16, 1, 'twos')", "Error(-2)", "Error(-1)"});
}

TEST_F(ControlTest, ImageControls)
{
    OpenSession();
    using Control = VelmoraCanvas;
    const struct {
        const char* name;
        int32_t (Control::*get)();
        void (Control::*set)(int32_t);
    } cases[] = {
        {"Brightness", &Control::VideoBrightness, &Control::VideoBrightness},
        {"Hue", &Control::VideoHue, &Control::VideoHue},
        {"Contrast", &Control::VideoContrast, &Control::VideoContrast},
        {"Saturation", &Control::VideoSaturation, &Control::VideoSaturation},
        {"Sharpness", &Control::VideoSharpness, &Control::VideoSharpness},
        {"WhiteLevelValue", &Control::VideoWhiteLevel, &Control::VideoWhiteLevel},
    };
    uint16_t device = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string get = std::string("VDGet") + c.name, set = std::string("VDSet") + c.name;
        script.answers[get] = [&](const Arguments& a) { return platform::Poke(a[1], device) ? 0 : -1; };
        script.answers[set] = [&](const Arguments& a) { return device = platform::Peek<uint16_t>(a[1]), 0; };
        ((*canvas).*c.set)(40000);
        EXPECT_EQ(((*canvas).*c.get)(), -25536);
        script.Returns(get, -2201);
        script.Returns(set, -2202);
        EXPECT_EQ(((*canvas).*c.get)(), 0);
        ((*canvas).*c.set)(1);
        ExpectAmong({"Error(-2201)", "SGGetVideoDigitizerComponent(22)", set + "(41, @)", "Error(-2202)"});
    }
}

} // namespace
} // namespace velmora
