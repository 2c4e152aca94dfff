// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/v4l2/V4L2Device.h"

namespace platform {

/// A format on offer, and the kernel's pixel format behind it.
struct V4L2Offer {
    CaptureFormat format;
    uint32_t pixelFormat = 0;
};

/// Whether a device has a pixel format that is used here, and whether one of them has colour.
struct V4L2Usability {
    bool usable = false;
    bool color = false;
};
/// Whether a device can be used here.
V4L2Usability JudgeFormats(const V4L2Device& device);

/// Every format, size and rate that a device offers and that is used here, in the device's own order, the fastest rate
/// first. Where a device gives ranges: the usual sizes and rates in them, their ends, and the present setting.
std::vector<V4L2Offer> EnumerateFormats(const V4L2Device& device);

/// What the device is set to now; format 0 when that can't be used.
CaptureFormat CurrentFormat(const V4L2Device& device);

/// Sets the device to a format. `actual` gets what the device made of it, `layout` how its pictures lie in memory. 0 or
/// an error number; ERANGE when the device answers with a format or size of no use.
int ApplyFormat(const V4L2Device& device, const std::vector<V4L2Offer>& offers, const CaptureFormat& wanted,
                CaptureFormat& actual, V4L2Layout& layout);

} // namespace platform
