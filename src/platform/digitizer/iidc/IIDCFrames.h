// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/FrameCompressor.h"
#include "platform/digitizer/iidc/IIDCBus.h"

#include <optional>

namespace platform {

/// The pixel format in which frames of a coding are handed on.
FourCharCode FormatOfCoding(IIDCCoding coding);

/// The frame in a pixel format that the rest of the platform reads; one that has to be rewritten for that goes to
/// `converted`. Nothing for a frame that is too short for its size.
std::optional<RawFrame> ReadIIDCFrame(const IIDCFrame& frame, std::vector<uint8_t>& converted);

} // namespace platform
