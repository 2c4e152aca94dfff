// SPDX-License-Identifier: MIT
#pragma once

#include "ui/MovieWindow.h"

namespace velmora {

/// A floating window with a slider each for brightness and hue of an analog device, which act at once, and a button for
/// the device's defaults. Sliders show percentages of the device's range.
class AnalogVideoSettings : public framework::Window {
public:
    /// The one window of this class, created and opened if necessary.
    static Reference<AnalogVideoSettings> Instance();

    /// The window whose control is adjusted; nil until set.
    Reference<MovieWindow> myParent;

    // The window's controls, looked up by name at each call; nil for one that was not created.
    Reference<framework::Slider> BrightnessSlider() const;    ///< sets the brightness
    Reference<framework::StaticText> BrightnessSText() const; ///< the brightness in percent
    Reference<framework::Timer> SetupTimer() const;           ///< sets the window up a second time
    Reference<framework::PushButton> PushButton1() const;     ///< restores the defaults
    Reference<framework::Slider> HueSlider() const;           ///< sets the hue
    Reference<framework::StaticText> HueSText() const;        ///< the hue in percent

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
