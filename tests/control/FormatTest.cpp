// SPDX-License-Identifier: MIT
#include "control/ControlTest.h"
#include "platform/memory/Handles.h"

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

} // namespace
} // namespace velmora
