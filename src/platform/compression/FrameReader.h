// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/FrameCompressor.h"
#include "platform/compression/FrameDecoder.h"
#include "platform/compression/RawPictures.h"

namespace platform {

/// The colors of a frame's luma and chroma as encoders get them: its own if it has luma and chroma, otherwise those
/// that result from the conversion of RGB or JPEG.
VideoColors ColorsAsPlanes(const RawFrame& frame);

/// Converts frames of devices to pictures, for the compressors. The result is borrowed: from the frame, or from blocks
/// of the reader that the next call overwrites.
class FrameReader {
public:
    /// The frame as a raw picture; decodes it if the device has compressed it. Nothing for an unreadable frame.
    std::optional<RawPicture> Read(const RawFrame& frame);

    /// A picture as 32-bit pixels of ports; the picture itself if it has these already.
    std::optional<RawPicture> As32(const RawPicture& picture);

private:
    std::optional<RawPicture> DecodeCompressed(const RawFrame& frame);

    RawFrame decodedShape; ///< codec, size and colors for which the decoder was created
    std::unique_ptr<FrameDecoder> decoder;
    OwnedBlock decoded;
    OwnedBlock converted;
};

/// A block with a copy of `bytes`.
OwnedBlock BlockOf(std::span<const uint8_t> bytes);

} // namespace platform
