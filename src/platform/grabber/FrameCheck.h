// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/FrameCompressor.h"

#include <cstdint>
#include <span>

namespace platform {

/// The part of a captured frame's bytes that forms a complete frame of its format; empty if the frame was truncated. Of
/// a JPEG image (ITU-T T.81): from its start marker, wherever that is, to its end marker, with a scan in between; of
/// DV: a frame of its system's size; of pixels: all rows of the picture. Other formats only have to contain something.
/// Cheap: reads only the headers and the end of a frame.
std::span<const uint8_t> WholeFrame(const RawFrame& frame);

} // namespace platform
