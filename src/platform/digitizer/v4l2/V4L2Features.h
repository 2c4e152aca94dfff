#pragma once

#include "platform/digitizer/Digitizer.h"

namespace platform {

/// The feature that a camera's controls offer under an IIDC code, so that one window drives both kinds of camera.
/// Nothing where no control has that meaning. A range too wide for the 16 bits of a feature record is told in units of
/// the control's step, and if that is still too wide, of a fraction of it.
struct FeatureControl {
    ImageControl control;
    int64_t unit = 1; ///< so much of the control's value is one of the feature's
    CameraFeature Feature() const;
    int64_t ControlValue(int32_t featureValue) const; ///< held in the control's range
};
std::optional<FeatureControl> FindFeatureControl(const std::vector<ImageControl>& controls, FourCharCode feature);

/// The control that keeps a feature automatic, with the value that makes it manual; nothing where there is none.
std::optional<std::pair<uint32_t, int64_t>> FindManualSwitch(const std::vector<ImageControl>& controls,
                                                             FourCharCode feature);

} // namespace platform
