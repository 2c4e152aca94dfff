// SPDX-License-Identifier: MIT
#pragma once

#include "capture/VelmoraCanvas.h"
#include "framework/Timer.h"
#include "framework/Widgets.h"
#include "framework/Window.h"

namespace velmora {

/// A window with eighteen labelled sliders, one for each feature of IIDC cameras. A slider is disabled if the camera
/// lacks its feature; moving it writes the feature at once.
class IIDCVideoSettings : public framework::Window {
public:
    /// The one window of this class, created and opened if necessary.
    static Reference<IIDCVideoSettings> Instance();

    static constexpr int32_t kFeatureCount = 18;

    /// The control whose camera is adjusted; nil until set.
    Reference<VelmoraCanvas> parentCanvas;

    /// True once the sliders are set up; earlier changes of a slider are not the user's.
    bool windowIsNotOpening = false;

    // Members of the control arrays, by the index of the feature; nil for one that was not created.
    Reference<framework::Slider> Slider1(int32_t index) const;         ///< sets the feature
    Reference<framework::StaticText> StaticText1(int32_t index) const; ///< the name of the feature
    Reference<framework::StaticText>
    StaticText2(int32_t index) const; ///< its value, one label more than there are features
    /// Sets the sliders up, 0.1 s after the window has opened.
    Reference<framework::Timer> SetupTimer() const;

protected:
    void Layout() override;
    void CreateControls() override;
    virtual void _CreateControls0();
    virtual void _CreateControls1();
    virtual void Slider1_ValueChanged(const framework::Slider& slider);
    virtual void SetupTimer_Action();
    void AddMenuHandlers() override;
    void Event_Open() override;
    void Event_EnableMenuItems() override;
    virtual bool _FileClose_Action();

    /// Writes the feature at `index` from its slider and shows the number beside it.
    virtual void SetValuesFromSliders(int32_t index);

    /// Sets each slider to the range and value of its feature, or disables it.
    virtual void SetSliderVisibility();

private:
    void ShowFeature(int32_t index);
    void MakeSlider(int32_t index);
    void MakeText(const char* array, int32_t index, int32_t left, int32_t top, int32_t width, const char* text,
                  framework::TextAlignment alignment);
};

} // namespace velmora
