#pragma once

#include "platform/digitizer/Digitizer.h"
#include "platform/digitizer/v4l2/V4L2Device.h"

namespace platform {

/// Every control of a device that is an integer, a Boolean, a menu or a button, with its present value.
std::vector<ImageControl> EnumerateControls(const V4L2Device& device);

/// Sets a control. `digiUnimpErr` for one that the device lacks, `paramErr` for a value out of its range,
/// `permErr` for one that can't be written.
Result SetDeviceControl(const V4L2Device& device, uint32_t identity, int64_t value);

/// One of the six values on the scale 0 to 65535; `digiUnimpErr` where the device has none. `taken` gets the
/// control behind the value and what the device made of it.
Result GetAnalogValue(const V4L2Device& device, AnalogControl control, uint16_t& value);
Result SetAnalogValue(const V4L2Device& device, AnalogControl control, uint16_t value, v4l2_control& taken);

std::vector<std::string> EnumerateInputs(const V4L2Device& device);
std::vector<v4l2_standard> EnumerateStandards(const V4L2Device& device);

} // namespace platform
