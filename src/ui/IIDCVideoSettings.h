// SPDX-License-Identifier: MIT
#pragma once

#include "capture/VelmoraCanvas.h"
#include "framework/Timer.h"
#include "framework/Widgets.h"
#include "framework/Window.h"

namespace velmora {

/// A window of eighteen labelled sliders, one for each feature that an IIDC camera can have. A slider of a feature that
/// the camera lacks is disabled; moving one writes the feature at once.
class IIDCVideoSettings : public framework::Window {
public:
    /// The one window of this class; made and opened when there is none.
    static Reference<IIDCVideoSettings> Instance();

    static constexpr int32_t kFeatureCount = 18;

    /// The control whose camera is adjusted; nil until set.
    Reference<VelmoraCanvas> parentCanvas;

    /// True once the sliders are set up; changes of a slider before that are not the user's.
    bool windowIsNotOpening = false;

    /// Members of the control arrays; the value labels have one more than there are features.
    Reference<framework::Slider> Slider1(int32_t index) const;
    Reference<framework::StaticText> StaticText1(int32_t index) const;
    Reference<framework::StaticText> StaticText2(int32_t index) const;
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

    /// Writes the feature at `index` as its slider stands and shows the number beside it.
    virtual void SetValuesFromSliders(int32_t index);

    /// Gives each slider the range and value of its feature, or disables it.
    virtual void SetSliderVisibility();

private:
    void ShowFeature(int32_t index);
    void MakeSlider(int32_t index);
    void MakeText(const char* array, int32_t index, int32_t left, int32_t top, int32_t width, const char* text,
                  framework::TextAlignment alignment);
};

} // namespace velmora
