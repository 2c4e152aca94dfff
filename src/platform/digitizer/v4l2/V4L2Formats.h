// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/v4l2/V4L2Device.h"

namespace platform {

/// An offered format, and the kernel's pixel format behind it.
struct V4L2Offer {
    CaptureFormat format;
    uint32_t pixelFormat = 0;
};

/// Whether a device has a supported pixel format, and whether one of them has colour.
struct V4L2Usability {
    bool usable = false;
    bool color = false;
};
/// Checks the pixel formats of a device.
V4L2Usability JudgeFormats(const V4L2Device& device);

/// Every supported format, size and rate of a device, in the device's own order, the fastest rate first. From ranges:
/// the usual sizes and rates, the limits, and the present setting.
std::vector<V4L2Offer> EnumerateFormats(const V4L2Device& device);

/// The device's present format; format 0 if it is not supported.
CaptureFormat CurrentFormat(const V4L2Device& device);

/// Sets the device's format. `actual` receives the format that the device uses, `layout` the memory layout of its
/// pictures. Returns 0 or an error number; ERANGE if the device uses an unsupported format or size.
int ApplyFormat(const V4L2Device& device, const std::vector<V4L2Offer>& offers, const CaptureFormat& wanted,
                CaptureFormat& actual, V4L2Layout& layout);

} // namespace platform
