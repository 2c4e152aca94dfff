// SPDX-License-Identifier: MIT
#include "ui/AnalogVideoSettings.h"

#include <cmath>
#include <limits>

// The two sliders behave differently: brightness starts disabled at 0 and is set up from the device, hue starts enabled
// at 50 and stays there until the user moves it, whatever its text says. Percentages are the value divided by the span
// of the range; the range's minimum is not subtracted.
//
// The window sets itself up twice: when it opens, and once more when its timer fires, by which time its opener has
// assigned `myParent`.

namespace velmora {
namespace {

using framework::PushButton;
using framework::Slider;
using framework::StaticText;
using framework::TextAlignment;
using framework::Timer;

// A device with an empty range makes a percentage infinite or undefined, which an integer can't hold.
int32_t CutToInteger(double value)
{
    if (std::isnan(value))
        return 0;
    constexpr double lowest = std::numeric_limits<int32_t>::min();
    constexpr double highest = std::numeric_limits<int32_t>::max();
    return static_cast<int32_t>(std::min(std::max(value, lowest), highest));
}

double Percentage(double value, double minimum, double maximum)
{
    return value / (maximum - minimum) * 100;
}

String PercentText(double percentage)
{
    return framework::Format(percentage, "#") + "%";
}

// The position of a slider as a fraction. Its minimum is subtracted after the division, which makes no difference for a
// minimum of 0.
double SliderFraction(const Slider& slider)
{
    return static_cast<double>(slider.Value()) / slider.Maximum() - slider.Minimum();
}

StaticText* MakeText(framework::Window& window, const char* name, int32_t left, int32_t top, int32_t width,
                     const char* text, TextAlignment alignment, const framework::ControlFont& font)
{
    auto* control = window.Add<StaticText>(name);
    control->Place(left, top, width, 20);
    control->Text(text);
    control->Alignment(alignment);
    control->Font(font);
    return control;
}

Slider* MakeSlider(framework::Window& window, const char* name, int32_t top, int32_t value, bool enabled)
{
    auto* slider = window.Add<Slider>(name);
    slider->Place(104, top, 208, 16);
    slider->Minimum(0);
    slider->Maximum(100);
    slider->Value(value);
    slider->LineStep(1);
    slider->PageStep(5);
    slider->LiveScroll(true);
    slider->Enabled(enabled);
    return slider;
}

} // namespace

Reference<AnalogVideoSettings> AnalogVideoSettings::Instance()
{
    const auto window = framework::_GetImplicitWindow("AnalogVideoSettings.AnalogVideoSettings",
                                                      [] { return std::make_shared<AnalogVideoSettings>(); });
    return Reference<AnalogVideoSettings>(std::dynamic_pointer_cast<AnalogVideoSettings>(window));
}

Reference<Slider> AnalogVideoSettings::BrightnessSlider() const
{
    return ControlReference<Slider>("BrightnessSlider");
}

Reference<StaticText> AnalogVideoSettings::BrightnessSText() const
{
    return ControlReference<StaticText>("BrightnessSText");
}

Reference<Timer> AnalogVideoSettings::SetupTimer() const
{
    return ControlReference<Timer>("SetupTimer");
}

Reference<PushButton> AnalogVideoSettings::PushButton1() const
{
    return ControlReference<PushButton>("PushButton1");
}

Reference<Slider> AnalogVideoSettings::HueSlider() const
{
    return ControlReference<Slider>("HueSlider");
}

Reference<StaticText> AnalogVideoSettings::HueSText() const
{
    return ControlReference<StaticText>("HueSText");
}

Reference<VelmoraCanvas> AnalogVideoSettings::Canvas() const
{
    return myParent ? myParent->VelmoraCanvas1() : nullptr;
}

void AnalogVideoSettings::Layout()
{
    Placement = 3;
    Width(400);
    Height(250);
    Frame = Floating;
    BackColor = framework::RGB(0xDD, 0xDD, 0xDD);
    Title("Image Settings");
    Resizeable = false;
    LiveResize = false;
    MaximizeButton = false;
}

void AnalogVideoSettings::CreateControls()
{
    _CreateControls0();
}

void AnalogVideoSettings::_CreateControls0()
{
    const framework::ControlFont labelFont{"System", 12, false};
    const framework::ControlFont valueFont{"Geneva", 10, false};
    auto* label = MakeText(*this, "BrightnessLabel", 12, 44, 80, "Brightness:", TextAlignment::Right, labelFont);
    auto* slider = MakeSlider(*this, "BrightnessSlider", 48, 0, false);
    slider->ValueChanged = [this] { BrightnessSlider_ValueChanged(); };
    label->Labels(*slider);
    MakeText(*this, "BrightnessSText", 318, 46, 70, "?", TextAlignment::Left, valueFont);

    auto* timer = Add<Timer>("SetupTimer");
    timer->Period(125);
    timer->Mode(Timer::Single);
    timer->Action = [this] { SetupTimer_Action(); };

    auto* button = Add<PushButton>("PushButton1");
    button->Place(104, 216, 69, 20);
    button->Caption("Untitled");
    button->Font(labelFont);
    button->Action = [this] { PushButton1_Action(); };

    label = MakeText(*this, "StaticText1", 12, 76, 80, "Hue:", TextAlignment::Right, labelFont);
    slider = MakeSlider(*this, "HueSlider", 80, 50, true);
    slider->ValueChanged = [this] { HueSlider_ValueChanged(); };
    label->Labels(*slider);
    MakeText(*this, "HueSText", 318, 78, 70, "?", TextAlignment::Left, valueFont);
}

void AnalogVideoSettings::AddMenuHandlers() {}

void AnalogVideoSettings::Event_Open()
{
    myParent = MovieWindow::Instance();
    SetupControls();
}

void AnalogVideoSettings::SetupTimer_Action()
{
    SetupControls();
}

void AnalogVideoSettings::SetupControls()
{
    if (!myParent) {
        SetupTimer()->Mode(Timer::Single);
        return;
    }
    const auto canvas = Canvas();
    if (!canvas)
        return;
    const double brightness = canvas->VideoBrightness();
    if (brightness < 0) {
        BrightnessSText()->Text("Not supported");
        BrightnessSlider()->Enabled(false);
    } else {
        const double percentage = Percentage(brightness, canvas->VideoBrightnessMin(), canvas->VideoBrightnessMax());
        BrightnessSText()->Text(PercentText(percentage));
        BrightnessSlider()->Enabled(true);
        BrightnessSlider()->Value(CutToInteger(percentage));
    }
    const double hue = canvas->VideoHue();
    HueSText()->Text(PercentText(Percentage(hue, canvas->VideoHueMin(), canvas->VideoHueMax())));
    HueSlider()->Enabled(true);
}

// The text shows the slider's position, not the device's value.
void AnalogVideoSettings::BrightnessSlider_ValueChanged()
{
    const auto canvas = Canvas();
    if (!canvas)
        return;
    const double fraction = SliderFraction(*BrightnessSlider());
    const double span = static_cast<double>(canvas->VideoBrightnessMax()) - canvas->VideoBrightnessMin();
    canvas->VideoBrightness(CutToInteger(fraction * span));
    canvas->VideoBrightness();
    BrightnessSText()->Text(PercentText(fraction * 100));
}

void AnalogVideoSettings::HueSlider_ValueChanged()
{
    const auto canvas = Canvas();
    if (!canvas)
        return;
    const double fraction = SliderFraction(*HueSlider());
    const double span = static_cast<double>(canvas->VideoHueMax()) - canvas->VideoHueMin();
    canvas->VideoHue(CutToInteger(fraction * span));
    canvas->VideoHue();
    HueSText()->Text(PercentText(fraction * 100));
}

// The sliders' events set the device, so a slider that is already at its default sends nothing.
void AnalogVideoSettings::PushButton1_Action()
{
    const auto canvas = Canvas();
    if (!canvas)
        return;
    BrightnessSlider()->Value(CutToInteger(
        Percentage(canvas->VideoBrightnessDefault(), canvas->VideoBrightnessMin(), canvas->VideoBrightnessMax())));
    HueSlider()->Value(
        CutToInteger(Percentage(canvas->VideoHueDefault(), canvas->VideoHueMin(), canvas->VideoHueMax())));
}

} // namespace velmora
