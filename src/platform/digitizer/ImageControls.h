// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/FourCharCode.h"
#include "platform/memory/ResultCodes.h"

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace platform {

/// A control of a device: one model for V4L2 controls, IIDC features and the properties of PipeWire nodes.
struct ImageControl {
    enum class Kind { Integer, Boolean, Menu, Button };
    uint32_t identity = 0; ///< the device's own number for it
    std::string name;
    Kind kind = Kind::Integer;
    int64_t minimum = 0;
    int64_t maximum = 0;
    int64_t step = 1;
    int64_t deviceDefault = 0;
    int64_t value = 0;
    bool readOnly = false;
    bool inactive = false;
    std::vector<std::pair<int64_t, std::string>> choices = {}; ///< of a menu
    bool writeOnly = false;                                    ///< `value` is the default, and nothing is saved
    uint32_t automaticSwitch = 0; ///< the control that switches this one to automatic; 0: none
    int64_t manualValue = 0;      ///< value of that switch at which the user sets this control
    std::string unit = {};        ///< of the values, for the user; empty: none or unknown

    /// The IIDC codes ("zoom", "shtr", ...) of the control's meaning: its own, and one for which it is used on devices
    /// without the proper control. 0 is none.
    std::array<FourCharCode, 2> features = {};
    float physicalMinimum = 0; ///< in physical units, if the device reports them; otherwise both 0
    float physicalMaximum = 0;
};

/// The six analog values of a digitizer.
enum class AnalogControl { Brightness, Hue, Contrast, Saturation, Sharpness, WhiteLevel };

/// The code of contrast, for which IIDC cameras have no feature.
inline constexpr FourCharCode kContrastFeature = CodeOf("cont");

/// The control for a feature; null if the device has none with a range.
const ImageControl* FindFeature(const std::vector<ImageControl>& controls, FourCharCode feature);

/// The control for an analog value; null if there is none. Digitizers set the level that is shown as white: the nearest
/// controls of cameras are called gamma or gain.
const ImageControl* FindAnalog(const std::vector<ImageControl>& controls, AnalogControl analog);

/// Converts a control's value to the scale 0 to 65535 over its range. The middle of a range is 32767, the largest
/// positive value for callers who read 16 signed bits.
uint16_t AnalogValueOf(const ImageControl& control);
/// Converts a number on the scale 0 to 65535 to a value of the control, on the nearest step.
int64_t ValueOfAnalog(const ImageControl& control, uint16_t value);

/// Clamps a value to the control's range and rounds it to one of its steps.
int64_t HeldInRange(const ImageControl& control, int64_t value);

using ControlValues = std::vector<std::pair<uint32_t, int64_t>>;

/// Writes values in the order required by devices: automatic switches first, then the others, then again what was
/// rejected. Values of unknown controls count as rejected. Returns the result of the last rejection.
Result WriteInOrder(const std::vector<ImageControl>& controls, const ControlValues& values,
                    const std::function<Result(uint32_t, int64_t)>& write);

} // namespace platform
