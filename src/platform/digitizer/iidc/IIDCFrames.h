// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/FrameCompressor.h"
#include "platform/digitizer/iidc/IIDCBus.h"

#include <optional>

namespace platform {

/// The pixel format in which frames of a coding are passed on.
FourCharCode FormatOfCoding(IIDCCoding coding);

/// The frame in a pixel format that the rest of the platform reads; if it must be converted, in `converted`. Nothing if
/// the frame is too short for its size.
std::optional<RawFrame> ReadIIDCFrame(const IIDCFrame& frame, std::vector<uint8_t>& converted);

} // namespace platform
