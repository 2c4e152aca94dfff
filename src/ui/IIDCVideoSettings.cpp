// SPDX-License-Identifier: MIT
#include "ui/IIDCVideoSettings.h"

#include "framework/Application.h"

#include <array>

// The window opens in two steps: `Event_Open` starts a timer, and the sliders are set up when it fires, by which time
// the opener has assigned `parentCanvas`. Until then, and while the sliders get the camera's values, their changes are
// not written back. The value labels therefore stay empty until their slider is moved.

namespace velmora {
namespace {

using framework::Slider;
using framework::StaticText;
using framework::TextAlignment;
using framework::Timer;

struct Feature {
    const char* label;
    const char* code;
    const char* name;
    int32_t sliderTop;
    int32_t labelTop;
    int32_t valueTop;
};

constexpr std::array<Feature, IIDCVideoSettings::kFeatureCount> kFeatures{{
    {"Hue", "hue ", "vdIIDCFeatureHue", 14, 13, 14},
    {"Saturation", "satu", "vdIIDCFeatureSaturation", 42, 38, 42},
    {"Sharpness", "shrp", "vdIIDCFeatureSharpness", 70, 66, 70},
    {"Brightness", "brit", "vdIIDCFeatureBrightness", 98, 94, 98},
    {"Gain", "gain", "vdIIDCFeatureGain", 126, 122, 126},
    {"Iris", "iris", "vdIIDCFeatureIris", 154, 153, 154},
    {"Shutter", "shtr", "vdIIDCFeatureShutter", 182, 178, 182},
    {"Exposure", "xpsr", "vdIIDCFeatureExposure", 210, 206, 210},
    {"White Balance U", "whbu", "vdIIDCFeatureWhiteBalanceU", 238, 234, 238},
    {"White Balance V", "whbv", "vdIIDCFeatureWhiteBalanceV", 266, 262, 266},
    {"Gamma", "gmma", "vdIIDCFeatureGamma", 297, 294, 294},
    {"Temperature", "temp", "vdIIDCFeatureTemperature", 325, 319, 325},
    {"Zoom", "zoom", "vdIIDCFeatureZoom", 353, 347, 353},
    {"Focus", "fcus", "vdIIDCFeatureFocus", 381, 375, 381},
    {"Pan", "pan ", "vdIIDCFeaturePan", 409, 403, 409},
    {"Tilt", "tilt", "vdIIDCFeatureTilt", 437, 433, 437},
    {"Optical Filter", "opft", "vdIIDCFeatureOpticalFilter", 465, 461, 465},
    {"Edge Enhancement", "eden", "vdIIDCFeatureEdgeEnhancement", 493, 489, 493},
}};

// By the index of its controls.
const Feature& FeatureAt(int32_t index)
{
    return kFeatures[static_cast<size_t>(index)];
}

// A value label without a slider, which stays empty.
constexpr int32_t kSpareLabel = 18;
constexpr int32_t kSpareLabelTop = 10;

} // namespace

Reference<IIDCVideoSettings> IIDCVideoSettings::Instance()
{
    const auto window = framework::_GetImplicitWindow("IIDCVideoSettings.IIDCVideoSettings",
                                                      [] { return std::make_shared<IIDCVideoSettings>(); });
    return Reference<IIDCVideoSettings>(std::dynamic_pointer_cast<IIDCVideoSettings>(window));
}

Reference<Slider> IIDCVideoSettings::Slider1(int32_t index) const
{
    return ControlReference<Slider>("Slider1", index);
}

Reference<StaticText> IIDCVideoSettings::StaticText1(int32_t index) const
{
    return ControlReference<StaticText>("StaticText1", index);
}

Reference<StaticText> IIDCVideoSettings::StaticText2(int32_t index) const
{
    return ControlReference<StaticText>("StaticText2", index);
}

Reference<Timer> IIDCVideoSettings::SetupTimer() const
{
    return ControlReference<Timer>("SetupTimer");
}

void IIDCVideoSettings::Layout()
{
    Width(320);
    Height(570);
    Title("IIDC Video Settings");
    Resizeable = false;
    LiveResize = false;
    MaximizeButton = false;
}

void IIDCVideoSettings::CreateControls()
{
    _CreateControls0();
    _CreateControls1();
}

void IIDCVideoSettings::_CreateControls0()
{
    for (int32_t index = 0; index < kFeatureCount; index++)
        MakeSlider(index);
    for (int32_t index = 0; index < kFeatureCount; index++)
        MakeText("StaticText1", index, 20, FeatureAt(index).labelTop, 114, FeatureAt(index).label,
                 TextAlignment::Right);
}

void IIDCVideoSettings::_CreateControls1()
{
    auto* timer = Add<Timer>("SetupTimer");
    timer->Mode(Timer::Off);
    timer->Period(100);
    timer->Action = [this] { SetupTimer_Action(); };

    const auto makeValue = [this](int32_t index, int32_t top) {
        MakeText("StaticText2", index, 256, top, 44, "", TextAlignment::Left);
    };
    // The spare label is at the bottom of the stacking order, the second one at the top.
    makeValue(kSpareLabel, kSpareLabelTop);
    makeValue(0, FeatureAt(0).valueTop);
    for (int32_t index = 2; index < kFeatureCount; index++)
        makeValue(index, FeatureAt(index).valueTop);
    makeValue(1, FeatureAt(1).valueTop);
}

void IIDCVideoSettings::MakeSlider(int32_t index)
{
    auto slider = std::make_shared<Slider>();
    slider->Index = index;
    Add("Slider1", slider);
    slider->Place(144, FeatureAt(index).sliderTop, 100, 16);
    slider->AccessibleName(FeatureAt(index).label);
    slider->Minimum(0);
    slider->Maximum(100);
    slider->Value(0);
    slider->LineStep(1);
    slider->PageStep(20);
    slider->LiveScroll(true);
    slider->ValueChanged = [this, source = slider.get()] { Slider1_ValueChanged(*source); };
}

void IIDCVideoSettings::MakeText(const char* array, int32_t index, int32_t left, int32_t top, int32_t width,
                                 const char* text, TextAlignment alignment)
{
    auto label = std::make_shared<StaticText>();
    label->Index = index;
    Add(array, label);
    label->Place(left, top, width, 20);
    label->Text(text);
    label->Alignment(alignment);
    label->Font({"SmallSystem", 0, true});
}

void IIDCVideoSettings::Event_Open()
{
    SetupTimer()->Mode(Timer::Single);
}

void IIDCVideoSettings::SetupTimer_Action()
{
    SetSliderVisibility();
    windowIsNotOpening = true;
}

// Nothing is hidden: the slider of a missing feature is disabled.
void IIDCVideoSettings::SetSliderVisibility()
{
    for (int32_t index = 0; index < kFeatureCount; index++) {
        if (parentCanvas)
            ShowFeature(index);
        framework::YieldToBackground();
    }
}

void IIDCVideoSettings::ShowFeature(int32_t index)
{
    const OSType code = framework::StringToOSType(FeatureAt(index).code);
    const auto slider = Slider1(index);
    if (!parentCanvas->isIIDCFeatureSupported(FeatureAt(index).name, code)) {
        slider->Enabled(false);
        return;
    }
    slider->Enabled(true);
    slider->Minimum(parentCanvas->IIDCFeatureMinimum(code));
    slider->Maximum(parentCanvas->IIDCFeatureMaximum(code));
    slider->Value(parentCanvas->IIDCFeatureValue(code));
}

void IIDCVideoSettings::Slider1_ValueChanged(const Slider& slider)
{
    SetValuesFromSliders(slider.Index);
}

void IIDCVideoSettings::SetValuesFromSliders(int32_t index)
{
    if (!windowIsNotOpening || index < 0 || index >= kFeatureCount)
        return;
    const int32_t value = Slider1(index)->Value();
    if (parentCanvas)
        parentCanvas->IIDCFeature(framework::StringToOSType(FeatureAt(index).code), value);
    StaticText2(index)->Text(framework::Str(value));
}

void IIDCVideoSettings::AddMenuHandlers()
{
    _AddMenuHandler("FileClose", [this] { return _FileClose_Action(); });
}

bool IIDCVideoSettings::_FileClose_Action()
{
    Close();
    return false;
}

} // namespace velmora
