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

/// A control of a device: the one model for the kernel's controls, IIDC's features and a PipeWire node's properties.
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
    bool writeOnly = false;                                    ///< `value` is the default; there is nothing to save
    uint32_t automaticSwitch = 0;                              ///< the control that keeps this one automatic; 0: none
    int64_t manualValue = 0;                                   ///< of that switch: hands this control to the user
    std::string unit = {};                                     ///< of the values, for people; empty: none or unknown

    /// The IIDC codes ("zoom", "shtr", ...) of what the control means: its own, and one it stands in for on devices
    /// that lack the proper control. 0 is none.
    std::array<FourCharCode, 2> features = {};
    float physicalMinimum = 0; ///< in physical units, where the device reports them; else both 0
    float physicalMaximum = 0;
};

/// The six analog values of a digitizer.
enum class AnalogControl { Brightness, Hue, Contrast, Saturation, Sharpness, WhiteLevel };

/// The code of contrast, for which IIDC cameras have no feature.
inline constexpr FourCharCode kContrastFeature = CodeOf("cont");

/// The control that means a feature; null where the device has none with a range.
const ImageControl* FindFeature(const std::vector<ImageControl>& controls, FourCharCode feature);

/// The control behind an analog value; null where there is none. Digitizers set the level that is shown as white:
/// cameras call the nearest thing gamma or gain.
const ImageControl* FindAnalog(const std::vector<ImageControl>& controls, AnalogControl analog);

/// A control's value on the scale 0 to 65535 over its range, and back: to the nearest step. The middle of a range is
/// 32767, which callers who read 16 signed bits take for the largest positive value.
uint16_t AnalogValueOf(const ImageControl& control);
/// The value of a control for a number on the scale 0 to 65535, to the nearest step.
int64_t ValueOfAnalog(const ImageControl& control, uint16_t value);

/// A value in the control's range, on one of its steps.
int64_t HeldInRange(const ImageControl& control, int64_t value);

using ControlValues = std::vector<std::pair<uint32_t, int64_t>>;

/// Writes values in the order in which a device takes them: automatic switches first, then the others, then once more
/// what was refused. Values of unknown controls count as refused. The result is that of the last refusal.
Result WriteInOrder(const std::vector<ImageControl>& controls, const ControlValues& values,
                    const std::function<Result(uint32_t, int64_t)>& write);

} // namespace platform
