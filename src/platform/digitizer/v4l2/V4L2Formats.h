#pragma once

#include "platform/digitizer/Digitizer.h"
#include "platform/digitizer/v4l2/V4L2Device.h"

namespace platform {

/// The format code for a device's pixel format, 0 for one that is not used here.
FourCharCode FormatOfPixelFormat(uint32_t pixelFormat);

/// Every format, size and rate that a device offers and that is used here, in the device's own order, the fastest rate
/// first. Where a device names ranges, the usual sizes and rates within them.
std::vector<CaptureFormat> EnumerateFormats(const V4L2Device& device);

/// What the device is set to now; format 0 when that can't be used.
CaptureFormat CurrentFormat(const V4L2Device& device);

/// The choice among `offered` for a device that has none of its own: the largest size up to 1280x720 at 30 frames a
/// second, raw at up to 640x480 and compressed above, where raw frames would not pass most buses.
CaptureFormat DefaultFormat(const std::vector<CaptureFormat>& offered);

/// The nearest to `wanted`: size first, then format (0 is any), then rate (0 is the fastest). Format 0 when nothing is
/// offered or the wish is no size at all.
CaptureFormat NearestFormat(const std::vector<CaptureFormat>& offered, const CaptureFormat& wanted);

/// Sets the device to a format. `actual` gets what the device made of it, `layout` its row lengths.
Result ApplyFormat(const V4L2Device& device, const CaptureFormat& wanted, CaptureFormat& actual,
                   v4l2_pix_format& layout);

} // namespace platform
