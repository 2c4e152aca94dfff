// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/CaptureFormat.h"

#include <vector>

namespace platform {

/// The initial format for a device. The device's own setting is kept if it is offered and reaches 24 frames per second.
/// Otherwise: the largest size up to 1280x720 that reaches 25, in colour, raw if that is fast enough and JPEG if not,
/// at the rate nearest to 30. If nothing reaches 25, the fastest format. Inter-frame formats are only used for cameras
/// that have no others.
CaptureFormat FirstFormat(const std::vector<CaptureFormat>& offered, const CaptureFormat& own = {});

/// The nearest format to `wanted` (an inter-frame format only if requested, or if there are no others): size first,
/// then format (0 is any), then rate (0 is the fastest). Format 0 if nothing is offered or the request has no size.
CaptureFormat NearestFormat(const std::vector<CaptureFormat>& offered, const CaptureFormat& wanted);

/// The formats to try, in this order, if the bus has no bandwidth left for `refused`: JPEG in the same size, lower
/// rates, smaller sizes.
std::vector<CaptureFormat> CheaperFormats(const std::vector<CaptureFormat>& offered, const CaptureFormat& refused);

} // namespace platform
