// SPDX-License-Identifier: MIT
#include "ui/AnalogVideoSettings.h"
#include "ui/UiTest.h"

namespace {

using SettingsWindowsTest = UiTest;

TEST_F(SettingsWindowsTest, AnalogShowsTheDevicesValues)
{
    struct Case {
        double brightness, low, high;
        const char* text;
        int32_t slider;
        const char* calls;
    };
    // A percentage takes no minimum off, and what the cut to whole percent loses is written back to the device.
    for (const Case& each :
         {Case{128, 0, 255, "50%", 50, "VideoBrightness = 127"}, Case{0, 0, 255, "0%", 0, ""},
          Case{65535, 0, 65535, "100%", 100, "VideoBrightness = 65535"},
          Case{150, 100, 200, "100%", 100, "VideoBrightness = 100"}, Case{-1, 0, 255, "Not supported", 0, ""}}) {
        spy->numbers = {{"VideoBrightness", each.brightness},
                        {"VideoBrightnessMin", each.low},
                        {"VideoBrightnessMax", each.high},
                        {"VideoHue", 64},
                        {"VideoHueMax", 255}};
        spy->TakeCalls();
        const auto analog = velmora::AnalogVideoSettings::Instance();
        EXPECT_EQ(analog->BrightnessSlider()->Value(), each.slider) << each.text;
        EXPECT_EQ(analog->BrightnessSText()->Text().Bytes(), each.text);
        EXPECT_EQ(analog->BrightnessSlider()->Enabled(), each.brightness >= 0);
        EXPECT_EQ(spy->TakeCalls(), each.calls) << each.text;
        EXPECT_EQ(analog->HueSText()->Text(), "25%");
        EXPECT_EQ(analog->HueSlider()->Value(), 50) << "hue stays where it starts";
        analog->HueSlider()->Value(51);
        EXPECT_EQ(spy->TakeCalls(), "VideoHue = 130");
        analog->Close();
    }
}

} // namespace
