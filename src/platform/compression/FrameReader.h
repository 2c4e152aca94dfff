// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/FrameCompressor.h"
#include "platform/compression/FrameDecoder.h"
#include "platform/compression/RawPictures.h"

namespace platform {

/// The colors of a frame's luma and chroma as encoders get them: its own where it comes as such, else what conversions
/// from RGB and JPEG make of them.
VideoColors ColorsAsPlanes(const RawFrame& frame);

/// Makes pictures of what devices deliver, for the compressors. What it returns is borrowed: from the frame, or from
/// blocks of the reader's own that the next call overwrites.
class FrameReader {
public:
    /// The frame as a raw picture; one that the device has compressed is decoded. Nothing for an unreadable frame.
    std::optional<RawPicture> Read(const RawFrame& frame);

    /// A picture as the ports' 32-bit pixels; itself where it has these already.
    std::optional<RawPicture> As32(const RawPicture& picture);

private:
    std::optional<RawPicture> DecodeCompressed(const RawFrame& frame);

    RawFrame decodedShape; ///< codec, size and colors that the decoder was made for
    std::unique_ptr<FrameDecoder> decoder;
    OwnedBlock decoded;
    OwnedBlock converted;
};

/// A block with a copy of `bytes`.
OwnedBlock BlockOf(std::span<const uint8_t> bytes);

} // namespace platform
