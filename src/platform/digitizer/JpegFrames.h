// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/FrameCompressor.h"

#include <optional>
#include <vector>

namespace platform {

/// A device's JPEG frame (ITU-T T.81) in a form that can be shown and stored: from its start marker on, in the size
/// that its own header gives. Cameras that send Motion JPEG may omit the Huffman tables; such a frame is copied to
/// `mended` with the standard tables, which file readers expect. Nothing for bytes that are not a JPEG picture.
std::optional<RawFrame> ReadJpegFrame(std::span<const uint8_t> bytes, std::vector<uint8_t>& mended);

} // namespace platform
