// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/FrameCompressor.h"

#include <optional>
#include <vector>

namespace platform {

/// A device's JPEG frame (ITU-T T.81) as it may be shown and kept: from its start marker on, in the size that its own
/// header gives. Cameras that send Motion JPEG may leave out the Huffman tables; such a frame is copied to `mended`
/// with the standard ones in it, since readers of files expect them. Nothing for bytes that are no JPEG picture.
std::optional<RawFrame> ReadJpegFrame(std::span<const uint8_t> bytes, std::vector<uint8_t>& mended);

} // namespace platform
