#include "control/ControlTest.h"
#include "platform/memory/Handles.h"

namespace velmora {
namespace {

using scripted::Arguments;

class FormatTest : public ControlTest {
protected:
    FormatTest() { OpenSession(); }
};

TEST_F(FormatTest, SizesRatesAndTypes)
{
    script.Returns("SGGetSrcVideoBounds", -9406);
    EXPECT_EQ(canvas->VideoSourceWidth(), 640);
    EXPECT_EQ(canvas->VideoSourceHeight(), 480);
    script.answers["VDGetImageDescription"] = [](const Arguments& a) {
        return scripted::FillImageDescription(a[1], 720, 576), -2;
    };
    EXPECT_EQ(canvas->VideoWidth(), 720);
    EXPECT_EQ(canvas->VideoHeight(), 576);
    canvas->VideoFrameRate(29.97);
    script.Writes("SGGetFrameRate", {{1, -98304}});
    EXPECT_EQ(canvas->VideoFrameRate(), -1.5);
    script.Writes("SGGetChannelTimeScale", {{1, 0}});
    EXPECT_EQ(canvas->VideoTimeScale(), 0);
    canvas->VideoCompressionType("jpeg");
    ExpectAmong({"> SGGetSrcVideoBounds err =-9406", "> SGGetSrcVideoBounds err =0", "SGSetFrameRate(22, 1964113)",
                 "Error(0)", "SGSetVideoCompressorType(22, 'jpeg')"});
    // The type comes back in the order of memory.
    script.Writes("SGGetVideoCompressorType", {{1, static_cast<int32_t>(platform::CodeOf("jpeg"))}});
    EXPECT_EQ(canvas->VideoCompressionType(), String("gepj"));
}

TEST_F(FormatTest, CompressorSettingsAreWrittenOneAtATime)
{
    using Control = VelmoraCanvas;
    const struct {
        int32_t (Control::*get)();
        void (Control::*set)(int32_t);
        size_t place; // among the arguments of the setter's call
        int32_t read;
    } cases[] = {
        {&Control::VideoDepth, &Control::VideoDepth, 1, -24},
        {&Control::VideoSpatialQuality, &Control::VideoSpatialQuality, 3, 70000},
        {&Control::VideoTemporalQuality, &Control::VideoTemporalQuality, 4, 70001},
        {&Control::VideoKeyFrameRate, &Control::VideoKeyFrameRate, 5, 70002},
    };
    Arguments read, written;
    script.answers["SGGetVideoCompressor"] = [&read](const Arguments& a) {
        read = a;
        platform::Poke<int16_t>(a[1], -24);
        for (const size_t place : {3, 4, 5})
            platform::Poke<int32_t>(a[place], 69997 + static_cast<int32_t>(place));
        return -3;
    };
    script.answers["SGSetVideoCompressor"] = [&written](const Arguments& a) { return written = a, -4; };
    script.unnoted = {"SGGetVideoCompressor", "SGSetVideoCompressor"};
    for (const auto& c : cases) {
        EXPECT_EQ(((*canvas).*c.get)(), c.read);
        ((*canvas).*c.set)(30);
        Expect({"Error(-3)", "Error(-3)", "Error(-4)"});
        // The others get the addresses of the blocks that were read into.
        Arguments expected = read;
        expected[1] = static_cast<int16_t>(read[1]);
        expected[c.place] = 30;
        EXPECT_EQ(written, expected);
    }
}

TEST_F(FormatTest, SoundParameters)
{
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
    canvas->SoundChannelCount(1); // both failures are told, and the write is tried
    EXPECT_THROW(canvas->SoundCompressionType("raw "), framework::NilObjectException);
    bits = 0;
    channels = 2;
    EXPECT_THROW(canvas->SoundCompressionType("raw "), framework::NilObjectException);
    Expect({"SGSetSoundInputParameters(21, 8, 2, 'twos')", "SGSetSoundInputParameters(21, 16, 2, 'ulaw')", "Error(-1)",
            "SGSetSoundInputParameters(21, 16, 1, 'twos')", "Error(-2)", "Error(-1)", "Error(-1)"});
}

TEST_F(FormatTest, RateVolumeAndGain)
{
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

TEST_F(FormatTest, LevelMeter)
{
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
    script.Writes("SGGetSoundInputParameters", {{2, 2}});
    canvas->SoundLevelMeterActive(true);
    canvas->SoundLevelMeterActive(false);
    ExpectAmong({"SPBSetDeviceInfo(31, 'lmet', 0x00000002)", "SPBSetDeviceInfo(31, 'lmet', 0x00000000)"});
}

TEST_F(FormatTest, ImageControls)
{
    using Get = int32_t (VelmoraCanvas::*)();
    using Set = void (VelmoraCanvas::*)(int32_t);
    using Control = VelmoraCanvas;
    const struct {
        const char* name;
        Get get;
        Set set;
        Get standard;
        int32_t value;
    } cases[] = {
        {"Brightness", &Control::VideoBrightness, &Control::VideoBrightness, &Control::VideoBrightnessDefault, 7761},
        {"Hue", &Control::VideoHue, &Control::VideoHue, &Control::VideoHueDefault, 32767},
        {"Contrast", &Control::VideoContrast, &Control::VideoContrast, &Control::VideoContrastDefault, 32767},
        {"Saturation", &Control::VideoSaturation, &Control::VideoSaturation, &Control::VideoSaturationDefault, 32767},
        {"Sharpness", &Control::VideoSharpness, &Control::VideoSharpness, &Control::VideoSharpnessDefault, 32767},
        {"WhiteLevelValue", &Control::VideoWhiteLevel, &Control::VideoWhiteLevel, &Control::VideoWhiteLevelDefault,
         32767},
    };
    uint16_t device = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string get = std::string("VDGet") + c.name, set = std::string("VDSet") + c.name;
        script.answers[get] = [&](const Arguments& a) { return platform::Poke(a[1], device) ? 0 : -1; };
        script.answers[set] = [&](const Arguments& a) { return device = platform::Peek<uint16_t>(a[1]), 0; };
        for (const auto& [written, read] : {std::pair{40000, -25536}, {65535, -1}, {65536 + 5, 5}}) {
            ((*canvas).*c.set)(written);
            EXPECT_EQ(((*canvas).*c.get)(), read);
        }
        script.Returns(get, -2201);
        script.Returns(set, -2202);
        EXPECT_EQ(((*canvas).*c.get)(), 0);
        ((*canvas).*c.set)(1);
        ExpectAmong({"Error(-2201)", "SGGetVideoDigitizerComponent(22)", set + "(41, @)", "Error(-2202)"});
        EXPECT_EQ(((*canvas).*c.standard)(), c.value);
    }
}

} // namespace
} // namespace velmora
