// SPDX-License-Identifier: MIT
#include "control/ControlTest.h"
#include "platform/drawing/Ports.h"
#include "platform/memory/Handles.h"
#include "recording/NullMemoryBlock.h"

namespace velmora {
namespace {

using scripted::Arguments;

TEST_F(ControlTest, SizesRatesAndTypes)
{
    OpenSession();
    script.Returns("SGGetSrcVideoBounds", -9406);
    EXPECT_TRUE(canvas->VideoSourceWidth() == 640 && canvas->VideoSourceHeight() == 480);
    script.answers["VDGetImageDescription"] = [](const Arguments& a) {
        return scripted::FillImageDescription(a[1], 720, 576), -2;
    };
    EXPECT_EQ(canvas->VideoWidth(), 720);
    canvas->VideoFrameRate(29.97);
    script.Writes("SGGetFrameRate", {{1, -98304}});
    EXPECT_EQ(canvas->VideoFrameRate(), -1.5);
    canvas->VideoCompressionType("jpeg");
    ExpectAmong(
        {"> SGGetSrcVideoBounds err =-9406", "SGSetFrameRate(22, 1964113)", "SGSetVideoCompressorType(22, 'jpeg')"});
    // The type comes back in the order of memory.
    script.Writes("SGGetVideoCompressorType", {{1, static_cast<int32_t>(platform::CodeOf("jpeg"))}});
    EXPECT_EQ(canvas->VideoCompressionType(), String("gepj"));
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

TEST_F(ControlTest, VideoPreviewOnAndOff)
{
    const struct {
        bool dataProc, whileRecording, value;
        Lines expected;
    } cases[] = {
        {false, true, true, {"SGPause(12, 1)", "SGSetChannelUsage(22, 7)", "SGStartPreview(12)"}},
        {false, false, true, {"SGPause(12, 1)", "SGSetChannelUsage(22, 3)", "SGStartPreview(12)"}},
        {false, true, false, {"SGPause(12, 1)", "SGSetChannelUsage(22, 5)", "SGStop(12)", "> SGStop=0"}},
        {false, false, false, {"SGPause(12, 1)", "SGSetChannelUsage(22, 1)", "SGStop(12)", "> SGStop=0"}},
        {true, true, true, {"CDSequenceEnd(0)", "SGStartRecord(12)"}},
        {true, true, false, {"SGStop(12)", "> SGStop=0"}},
    };
    OpenSession();
    for (const auto& c : cases) {
        canvas->UseDataProc = c.dataProc;
        canvas->PreviewWhileRecording(c.whileRecording);
        const Lines changed = script.Take();
        EXPECT_EQ(changed.front() + changed.back(), "SGPause(12, 1)SGPause(12, 0)");
        inside.displaySeq = framework::New<MemoryBlock>(4);
        canvas->VideoPreview(c.value);
        Expect(c.expected);
        EXPECT_EQ(inside.VideoPreviewState, c.value);
    }
}

TEST_F(ControlTest, EnablingChannels)
{
    OpenSession();
    for (const bool video : {true, false})
        for (const bool dataProc : {true, false}) {
            SCOPED_TRACE(::testing::Message() << video << dataProc);
            const auto enable = [&](bool value) { video ? canvas->VideoEnabled(value) : canvas->SoundEnabled(value); };
            const std::string number = video ? "22" : "21", kind = video ? "Video" : "Sound";
            canvas->UseDataProc = dataProc;
            enable(false);
            enable(true);
            Lines expected{"SGDisposeChannel(12, " + number + ")",
                           std::string("SGNewChannel(12, ") + (video ? "'vide'" : "'soun'") + ", @)",
                           "> New " + kind + "Channel err: 0",
                           "SGSetChannelBounds(" + number + ", [14 20 494 660])",
                           "> SGSetChannelBounds = 0",
                           "SGSetChannelUsage(" + number + (dataProc ? ", 1)" : ", 7)"),
                           std::string(dataProc ? "> UseDataProc " : "> ") + "SGSetChannelUsage sg" + kind +
                               "Channel2 = 0"};
            if (video) // sound leaves the session alone
                expected.push_back(dataProc ? "SGStartRecord(12)" : "SGStartPreview(12)");
            Expect(expected);
        }
}

TEST_F(ControlTest, BuffersByOrigin)
{
    GWorldWrapper plain(64, 32), placed(5, 7, 64, 32), formed(64, 32, "2vuy"), placedAndFormed(5, 7, 64, 32, "2vuy");
    GWorldWrapper ofWindow(20, 14, 640, 480, &window);
    const auto picture = framework::New<Picture>(33, 11, 32);
    GWorldWrapper ofPicture(picture);
    const struct {
        GWorldWrapper& world;
        platform::FourCharCode format;
        int top, left, bottom, right;
    } cases[] = {
        {plain, 32, 0, 0, 32, 64},
        {placed, 32, 5, 7, 37, 71},
        {formed, platform::k2vuyPixelFormat, 0, 0, 32, 64},
        {placedAndFormed, platform::k2vuyPixelFormat, 5, 7, 37, 71},
        {ofWindow, 32, 20, 14, 500, 654},
        {ofPicture, 32, 0, 0, 11, 33},
    };
    for (const auto& c : cases) {
        const auto pixels = platform::PixelsOfPort(c.world.handle->Long(0));
        ASSERT_TRUE(pixels);
        EXPECT_EQ(pixels->format, c.format);
        const auto rect = c.world.GetRect(), buffer = c.world.getvImageBuffer();
        EXPECT_TRUE(rect->Short(0) == c.top && rect->Short(2) == c.left && rect->Short(4) == c.bottom &&
                    rect->Short(6) == c.right);
        EXPECT_EQ(c.world.GetDataSize(), pixels->rowBytes * c.world.height);
        EXPECT_EQ(c.world.format, String("rgba"));
        EXPECT_TRUE(buffer->Long(0) == platform::AddressOf(pixels->pixels) && buffer->Long(4) == c.bottom - c.top &&
                    buffer->Long(8) == c.right - c.left && buffer->Long(12) == pixels->rowBytes);
    }
    EXPECT_EQ(ofWindow.handle->Long(0), window.Port());
    EXPECT_EQ(ofPicture.handle->Long(0), picture->RGBSurface());
    EXPECT_EQ(NullMemoryBlock().Pointer(), 0);
    EXPECT_THROW(GWorldWrapper(0, 0), framework::RuntimeException);
    Expect({"MsgBox(NewGWorld error-50)"});
    script.Returns("MakeImageDescriptionForPixMap", -50);
    EXPECT_EQ(plain.GetImageDescription(), 0);
}

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
