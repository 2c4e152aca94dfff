// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/FrameCompressor.h"

#include <cstdint>
#include <span>

namespace platform {

/// The bytes of a captured frame that make a whole one of its format, or none for a frame that was cut short on its
/// way. Of a JPEG image (ITU-T T.81) that is what lies from its start marker, wherever that is, to its end marker, with
/// a scan between them; of DV a frame of its own system's size; of pixels all rows of the picture. Other formats only
/// have to hold something. Costs little: no more than the headers and the end of a frame are looked at.
std::span<const uint8_t> WholeFrame(const RawFrame& frame);

} // namespace platform
