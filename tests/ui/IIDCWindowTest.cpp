// SPDX-License-Identifier: MIT
#include "platform/digitizer/iidc/IIDCDigitizer.h"
#include "platform/digitizer/v4l2/V4L2Controls.h"
#include "support/SimulatedIIDCCamera.h"
#include "ui/AnalogVideoSettings.h"
#include "ui/IIDCVideoSettings.h"
#include "ui/RealDevices.h"

#include <linux/v4l2-controls.h>

using namespace platform;

namespace {

// A camera with controls of the kernel's numbers.
struct ControlledCamera : Digitizer {
    explicit ControlledCamera(std::vector<ImageControl>& list) : controls(list) {}
    std::string Name() const override { return "USB Camera"; }
    std::string Identity() const override { return "usb"; }
    std::vector<CaptureFormat> Formats() const override { return {Format()}; }
    CaptureFormat Format() const override { return {CodeOf("jpeg"), 64, 48, 30}; }
    Result SetFormat(const CaptureFormat&) override { return noErr; }
    Result Start(FrameSink&) override { return noErr; }
    void Stop() override {}
    std::vector<ImageControl> Controls() const override { return controls; }
    Result SetControl(uint32_t identity, int64_t value) override
    {
        std::ranges::find(controls, identity, &ImageControl::identity)->value = value;
        return noErr;
    }
    std::vector<ImageControl>& controls;
};

// The settings window over the real control and the real grabber with one camera.
class IIDCWindowTest : public RealDevicesTest {
protected:
    void OpenCamera(DigitizerProvider provider = {ListIIDCDigitizers, OpenIIDCDigitizer})
    {
        SetIIDCBusProvider([this] { return bus; });
        SetDigitizerProvider(std::move(provider));
        Open();
        window->ChooseMenuItem(velmora::MenuBar1::Instance()->_Lookup("VideoIIDCVideoSettings"));
        settings = velmora::IIDCVideoSettings::Instance();
        settings->SetupTimer()->Action();
    }
    void OpenUsbCamera()
    {
        const std::vector<DigitizerEntry> list(1, {"USB Camera", "usb", {}, true});
        OpenCamera(
            {[list] { return list; }, [this](const auto&) { return std::make_unique<ControlledCamera>(controls); }});
    }
    void TearDown() override
    {
        settings = nullptr;
        RealDevicesTest::TearDown();
        SetIIDCBusProvider({});
    }

    static std::string Slider(int32_t index, int32_t minimum, int32_t value, int32_t maximum)
    {
        return std::to_string(index) + ":" + std::to_string(minimum) + "/" + std::to_string(value) + "/" +
               std::to_string(maximum) + " ";
    }
    std::string Enabled()
    {
        std::string sliders;
        for (int32_t i = 0; i < 18; ++i)
            if (const auto slider = settings->Slider1(i); slider->Enabled())
                sliders += Slider(i, slider->Minimum(), slider->Value(), slider->Maximum());
        return sliders;
    }

    std::shared_ptr<test::SimulatedIIDCCamera> bus = std::make_shared<test::SimulatedIIDCCamera>();
    test::SimulatedIIDCCamera& camera = *bus;
    framework::Reference<velmora::IIDCVideoSettings> settings;
    std::vector<ImageControl> controls; // of the USB camera
};

TEST_F(IIDCWindowTest, EveryFeatureOfAnIIDCCamera)
{
    using enum IIDCFeature;
    // By slider; the last one's feature has no register of its own in these cameras.
    const IIDCFeature order[] = {Hue,     Saturation, Sharpness,     Brightness,    Gain,         Iris,
                                 Shutter, Exposure,   WhiteBalanceU, WhiteBalanceV, Gamma,        Temperature,
                                 Zoom,    Focus,      Pan,           Tilt,          OpticalFilter};
    std::string expected;
    for (int32_t i = 0; i < 17; ++i) {
        camera.features[order[i]] = {.minimum = 10U + i, .maximum = 4000U + i, .value = 1007U + i, .isManual = false};
        expected += Slider(i, 10 + i, 1007 + i, 4000 + i);
    }
    OpenCamera();
    EXPECT_EQ(Enabled(), expected);
    for (int32_t i = 0; i < 17; ++i) {
        EXPECT_EQ(settings->StaticText2(i)->Text(), "");
        settings->Slider1(i)->Value(2000 + i);
        EXPECT_EQ(camera.features[order[i]].value, 2000U + i);
        EXPECT_TRUE(camera.features[order[i]].isManual);
        EXPECT_EQ(settings->StaticText2(i)->Text(), std::to_string(2000 + i));
    }
    camera.Plug(false); // it leaves under the hand
    settings->Slider1(0)->Value(77);
    EXPECT_EQ(camera.features[Hue].value, 2000U);
}

TEST_F(IIDCWindowTest, ControlsOfAnOrdinaryCamera)
{
    const auto add = [&](uint32_t identity, int64_t minimum, int64_t maximum, int64_t step, int64_t value) {
        AddMeaning(controls.emplace_back(ImageControl{identity, "", {}, minimum, maximum, step, value, value}));
    };
    add(V4L2_CID_ZOOM_ABSOLUTE, 100, 500, 1, 120);
    add(V4L2_CID_FOCUS_ABSOLUTE, 0, 250, 5, 35);
    add(V4L2_CID_FOCUS_AUTO, 0, 1, 1, 1);
    add(V4L2_CID_PAN_ABSOLUTE, -36000, 36000, 3600, -7200);
    add(V4L2_CID_TILT_ABSOLUTE, -36000, 36000, 3600, 3600);
    add(V4L2_CID_EXPOSURE_ABSOLUTE, 3, 2047, 1, 250);
    add(V4L2_CID_EXPOSURE_AUTO, 0, 3, 1, V4L2_EXPOSURE_APERTURE_PRIORITY);
    add(V4L2_CID_GAIN, 0, 255, 1, 64);
    add(V4L2_CID_WHITE_BALANCE_TEMPERATURE, 2800, 6500, 1, 4600);
    OpenUsbCamera();
    EXPECT_EQ(Enabled(), "4:0/64/255 6:3/250/2047 7:3/250/2047 11:2800/4600/6500 12:100/120/500 13:0/35/250 "
                         "14:-10/-2/10 15:-10/1/10 ");
    for (const auto& [slider, value] : {std::pair{12, 499}, {13, 80}, {14, -9}, {15, 10}, {6, 99}, {4, 1}, {11, 2801}})
        settings->Slider1(slider)->Value(value);
    std::vector<int64_t> values;
    std::ranges::transform(controls, std::back_inserter(values), &ImageControl::value);
    EXPECT_EQ(values, (std::vector<int64_t>{499, 80, 0, -32400, 36000, 99, V4L2_EXPOSURE_MANUAL, 1, 2801}));
}

// The middle of a range is a value to work with, and a missing control one that can't be moved.
TEST_F(IIDCWindowTest, ImageSettingsOfAnOrdinaryCamera)
{
    const struct {
        int64_t minimum, maximum, value;
        const char* text;
        int32_t slider;
        int64_t atHalf;
    } cases[] = {{-64, 64, 0, "49%", 49, 0},       {0, 255, 128, "49%", 49, 128}, {0, 100, 50, "49%", 49, 50},
                 {100, 10000, 100, "0%", 0, 5050}, {0, 3, 1, "33%", 33, 2},       {0, 0, 0, "Not supported", 0, 0}};
    OpenUsbCamera();
    for (const auto& each : cases) {
        SCOPED_TRACE(each.maximum);
        controls = {{V4L2_CID_BRIGHTNESS, "", {}, each.minimum, each.maximum, 1, each.value, each.value}};
        AddMeaning(controls.front());
        const auto analog = velmora::AnalogVideoSettings::Instance();
        EXPECT_EQ(analog->BrightnessSText()->Text().Bytes(), each.text);
        EXPECT_EQ(analog->BrightnessSlider()->Enabled(), each.maximum > 0);
        EXPECT_EQ(analog->BrightnessSlider()->Value(), each.slider);
        analog->BrightnessSlider()->Value(50);
        EXPECT_EQ(controls.front().value, each.atHalf);
        EXPECT_EQ(analog->HueSText()->Text().Bytes(), "0%");
        analog->Close();
    }
}

} // namespace
