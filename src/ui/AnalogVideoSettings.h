// SPDX-License-Identifier: MIT
#pragma once

#include "ui/MovieWindow.h"

namespace velmora {

/// A floating window with a slider each for the brightness and the hue of an analog device, live, and a button for the
/// device's defaults. Sliders stand in percent of the device's range.
class AnalogVideoSettings : public framework::Window {
public:
    /// The one window of this class; made and opened when there is none.
    static Reference<AnalogVideoSettings> Instance();

    /// The window whose control is adjusted; nil until set.
    Reference<MovieWindow> myParent;

    /// The window's controls, looked up by name at each call; nil for one that was never made.
    Reference<framework::Slider> BrightnessSlider() const;
    Reference<framework::StaticText> BrightnessSText() const;
    Reference<framework::Timer> SetupTimer() const;
    Reference<framework::PushButton> PushButton1() const;
    Reference<framework::Slider> HueSlider() const;
    Reference<framework::StaticText> HueSText() const;

protected:
    void Layout() override;
    void CreateControls() override;
    virtual void _CreateControls0();
    virtual void BrightnessSlider_ValueChanged();
    virtual void SetupTimer_Action();
    virtual void PushButton1_Action();
    virtual void HueSlider_ValueChanged();
    void AddMenuHandlers() override;
    void Event_Open() override;
    virtual void SetupControls();

private:
    Reference<VelmoraCanvas> Canvas() const;
};

} // namespace velmora
