// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/CaptureFormat.h"

#include <vector>

namespace platform {

/// The choice for a device that nobody has set yet. The device's own setting is kept where it is on offer and reaches
/// 24 frames a second. Otherwise: the largest size up to 1280x720 that reaches 25, in colour, raw where that is fast
/// enough and as JPEG where it isn't, at the rate nearest to 30. Where nothing reaches 25, the fastest there is.
/// Formats of inter-frame codecs are for cameras that have no others.
CaptureFormat FirstFormat(const std::vector<CaptureFormat>& offered, const CaptureFormat& own = {});

/// The nearest to `wanted` (a format of an inter-frame codec only where it is asked for, or there are no others): size
/// first, then format (0 is any), then rate (0 is the fastest). Format 0 when nothing is offered or the request has no
/// size.
CaptureFormat NearestFormat(const std::vector<CaptureFormat>& offered, const CaptureFormat& wanted);

/// What to try, in this order, when the bus has no room for `refused`: JPEG in the same size, lower rates, smaller
/// sizes.
std::vector<CaptureFormat> CheaperFormats(const std::vector<CaptureFormat>& offered, const CaptureFormat& refused);

} // namespace platform
