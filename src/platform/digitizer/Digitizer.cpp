// SPDX-License-Identifier: MIT
// The analog values and the features of any device, based on its controls.
#include "platform/digitizer/Digitizer.h"

#include <algorithm>
#include <limits>

namespace platform {
namespace {

int32_t In32Bits(int64_t value)
{
    return static_cast<int32_t>(
        std::clamp<int64_t>(value, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()));
}

} // namespace

Result Digitizer::SetControls(const ControlValues& values)
{
    return WriteInOrder(Controls(), values,
                        [this](uint32_t identity, int64_t value) { return SetControl(identity, value); });
}

// A control in automatic mode rejects or ignores values.
Result Digitizer::SetByHand(const std::vector<ImageControl>& controls, const ImageControl& control, int64_t value)
{
    const auto automatic = std::ranges::find(controls, control.automaticSwitch, &ImageControl::identity);
    if (control.automaticSwitch != 0 && automatic != controls.end() && automatic->value != control.manualValue)
        SetControl(automatic->identity, control.manualValue);
    return SetControl(control.identity, value);
}

Result Digitizer::GetAnalog(AnalogControl analog, uint16_t& value) const
{
    const auto controls = Controls();
    const ImageControl* control = FindAnalog(controls, analog);
    if (control == nullptr)
        return digiUnimpErr;
    value = AnalogValueOf(*control);
    return noErr;
}

Result Digitizer::SetAnalog(AnalogControl analog, uint16_t value)
{
    const auto controls = Controls();
    const ImageControl* control = FindAnalog(controls, analog);
    return control == nullptr ? digiUnimpErr : SetByHand(controls, *control, ValueOfAnalog(*control, value));
}

Result Digitizer::GetFeature(FourCharCode code, CameraFeature& feature) const
{
    const auto controls = Controls();
    const ImageControl* control = FindFeature(controls, code);
    if (control == nullptr)
        return digiUnimpErr;
    feature = {.minimum = In32Bits(control->minimum),
               .maximum = In32Bits(control->maximum),
               .value = In32Bits(control->value),
               .step = In32Bits(control->step),
               .absoluteMinimum = control->physicalMinimum,
               .absoluteMaximum = control->physicalMaximum,
               .writable = !control->readOnly};
    return noErr;
}

Result Digitizer::SetFeature(FourCharCode code, int32_t value)
{
    const auto controls = Controls();
    const ImageControl* control = FindFeature(controls, code);
    if (control == nullptr)
        return digiUnimpErr;
    if (control->readOnly)
        return permErr;
    return SetByHand(controls, *control, HeldInRange(*control, value));
}

} // namespace platform
