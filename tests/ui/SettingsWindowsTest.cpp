#include "ui/AnalogVideoSettings.h"
#include "ui/IIDCVideoSettings.h"
#include "ui/UiTest.h"

namespace {

using velmora::AnalogVideoSettings;
using velmora::IIDCVideoSettings;

class AnalogTest : public UiTest {
protected:
    /// Opens the window over a device with that brightness and hue of 0 to 255.
    framework::Reference<AnalogVideoSettings> Open(double brightness, double low, double high)
    {
        spy->numbers = {{"VideoBrightness", brightness},
                        {"VideoBrightnessMin", low},
                        {"VideoBrightnessMax", high},
                        {"VideoHue", 64},
                        {"VideoHueMin", 0},
                        {"VideoHueMax", 255}};
        spy->TakeCalls();
        return AnalogVideoSettings::Instance();
    }
};

TEST_F(AnalogTest, OpeningShowsTheDevicesValues)
{
    struct Case {
        double brightness, low, high;
        const char* text;
        int32_t slider;
        const char* calls;
    };
    // A percentage takes no minimum off, and what the cut to whole percent loses is written back to the device.
    for (const Case& each :
         {Case{128, 0, 255, "50%", 50, "VideoBrightness = 127"}, Case{0, 0, 255, "%", 0, ""},
          Case{65535, 0, 65535, "100%", 100, "VideoBrightness = 65535"},
          Case{150, 100, 200, "150%", 100, "VideoBrightness = 100"}, Case{-1, 0, 255, "Not supported", 0, ""}}) {
        const auto analog = Open(each.brightness, each.low, each.high);
        EXPECT_EQ(analog->BrightnessSlider()->Value(), each.slider) << each.text;
        EXPECT_EQ(analog->BrightnessSlider()->Enabled(), each.brightness >= 0);
        EXPECT_EQ(spy->TakeCalls(), each.calls) << each.text;
        EXPECT_EQ(analog->HueSText()->Text(), "25%");
        EXPECT_EQ(analog->HueSlider()->Value(), 50) << "hue stays where it starts";
        EXPECT_TRUE(analog->HueSlider()->Enabled());
        analog->Close();
    }
}

TEST_F(AnalogTest, AnEmptyRangeIsSurvived)
{
    for (const double brightness : {0.0, 10.0}) {
        const auto analog = Open(brightness, 7, 7);
        analog->ControlNamed<framework::PushButton>("PushButton1")->Push();
        EXPECT_TRUE(analog->BrightnessSlider()->Value() == 0 || analog->BrightnessSlider()->Value() == 100);
        analog->Close();
    }
}

TEST_F(AnalogTest, SlidersWriteTheDevice)
{
    const auto analog = Open(0, 0, 255);
    struct Case {
        bool hue;
        int32_t slider;
        const char* calls;
        const char* text;
    };
    for (const Case& each :
         {Case{false, 100, "VideoBrightness = 255", "100%"}, Case{false, 50, "VideoBrightness = 127", "50%"},
          Case{true, 51, "VideoHue = 130", "51%"}, Case{true, 1, "VideoHue = 2", "1%"}}) {
        spy->TakeCalls();
        (each.hue ? analog->HueSlider() : analog->BrightnessSlider())->Value(each.slider);
        EXPECT_EQ(spy->TakeCalls(), each.calls);
        EXPECT_EQ((each.hue ? analog->HueSText() : analog->BrightnessSText())->Text(), each.text);
    }
}

TEST_F(AnalogTest, ButtonSendsDefaultsOnce)
{
    const auto analog = Open(0, 0, 255);
    spy->numbers["VideoBrightnessDefault"] = 128;
    spy->numbers["VideoHueDefault"] = 0;
    auto* button = analog->ControlNamed<framework::PushButton>("PushButton1");
    spy->TakeCalls();
    button->Push();
    EXPECT_EQ(spy->TakeCalls(), "VideoBrightness = 127; VideoHue = 0");
    button->Push();
    EXPECT_EQ(spy->TakeCalls(), "");
}

TEST_F(AnalogTest, WithoutAParentTheTimerTriesAgain)
{
    const auto analog = Open(0, 0, 255);
    analog->myParent = nullptr;
    spy->TakeCalls();
    analog->SetupTimer()->Mode(framework::Timer::Off);
    analog->SetupTimer()->Action();
    EXPECT_EQ(analog->SetupTimer()->Mode(), framework::Timer::Single);
    analog->BrightnessSlider()->Value(70);
    analog->HueSlider()->Value(70);
    EXPECT_EQ(spy->TakeCalls(), "");

    Choose("VideoImageSettings");
    EXPECT_EQ(analog->myParent.Get(), window.Get());
}

class IIDCTest : public UiTest {
protected:
    /// Opens the window from the menu over a camera with zoom and brightness, and lets its timer fire.
    framework::Reference<IIDCVideoSettings> Open()
    {
        spy->numbers = {{"zoom", 300}, {"zoom minimum", 200}, {"zoom maximum", 400},
                        {"brit", 20},  {"brit minimum", 10},  {"brit maximum", 30}};
        Choose("VideoIIDCVideoSettings");
        const auto iidc = IIDCVideoSettings::Instance();
        EXPECT_EQ(iidc->SetupTimer()->Mode(), framework::Timer::Single);
        spy->TakeCalls();
        iidc->SetupTimer()->Action();
        return iidc;
    }
};

TEST_F(IIDCTest, SetUpReadsEachFeatureAndWritesNone)
{
    const auto iidc = Open();
    EXPECT_EQ(spy->TakeCalls(),
              "vdIIDCFeatureHue; vdIIDCFeatureSaturation; vdIIDCFeatureSharpness; vdIIDCFeatureBrightness; "
              "vdIIDCFeatureGain; vdIIDCFeatureIris; vdIIDCFeatureShutter; vdIIDCFeatureExposure; "
              "vdIIDCFeatureWhiteBalanceU; vdIIDCFeatureWhiteBalanceV; vdIIDCFeatureGamma; vdIIDCFeatureTemperature; "
              "vdIIDCFeatureZoom; vdIIDCFeatureFocus; vdIIDCFeaturePan; vdIIDCFeatureTilt; vdIIDCFeatureOpticalFilter; "
              "vdIIDCFeatureEdgeEnhancement");
    for (int32_t i = 0; i < 18; i++) {
        const bool there = i == 3 || i == 12;
        EXPECT_EQ(iidc->Slider1(i)->Enabled(), there) << i;
        EXPECT_EQ(iidc->Slider1(i)->Maximum(), i == 12 ? 400 : i == 3 ? 30 : 100) << i;
        EXPECT_EQ(iidc->StaticText2(i)->Text(), "") << i;
    }
    EXPECT_EQ(iidc->Slider1(12)->Minimum(), 200);
    EXPECT_EQ(iidc->Slider1(12)->Value(), 300);
    EXPECT_EQ(iidc->Slider1(3)->Value(), 20);
}

TEST_F(IIDCTest, MovingASliderWritesItsFeatureAndLabel)
{
    const auto iidc = Open();
    spy->TakeCalls();
    iidc->Slider1(3)->Value(25);
    EXPECT_EQ(spy->TakeCalls(), "brit = 25");
    for (int32_t i = 0; i < 19; i++)
        EXPECT_EQ(iidc->StaticText2(i)->Text(), i == 3 ? "25" : "") << i;
    iidc->parentCanvas = nullptr;
    iidc->Slider1(12)->Value(399);
    EXPECT_EQ(spy->TakeCalls(), "");
    EXPECT_EQ(iidc->StaticText2(12)->Text(), "399");
}

TEST_F(IIDCTest, ASecondUseReadsNothingAndCloseEndsTheInstance)
{
    const auto iidc = Open();
    spy->TakeCalls();
    iidc->parentCanvas = nullptr;
    Choose("VideoIIDCVideoSettings");
    EXPECT_EQ(spy->TakeCalls(), "");
    EXPECT_EQ(iidc->parentCanvas.Get(), spy.get());
    EXPECT_EQ(IIDCVideoSettings::Instance().Get(), iidc.Get());
    Choose(*iidc, "FileClose");
    EXPECT_FALSE(framework::HasImplicitWindow("IIDCVideoSettings.IIDCVideoSettings"));
    EXPECT_FALSE(IIDCVideoSettings::Instance()->windowIsNotOpening);
}

} // namespace
