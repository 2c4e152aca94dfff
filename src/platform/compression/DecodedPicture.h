// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/FrameDecoder.h"

#include <memory>

namespace platform {

/// A captured frame's bytes, kept alive by all who hold one.
struct SharedFrame {
    std::shared_ptr<const void> owner;
    std::span<const uint8_t> bytes;
};

/// What a frame looks like, in 32-bit pixels, whole or reduced, and the frame to decode it from again.
struct DecodedPicture {
    PictureBlock picture;
    SharedFrame frame;
    ImageDescription description; ///< of the frame

    bool IsReduced() const { return picture.pixels.width < description.width; }
};

/// A side of a picture reduced by a factor, as decoders round it.
inline int32_t ReducedSide(int32_t side, int32_t factor)
{
    return (side + factor - 1) / factor;
}

/// The largest factor (1, 2, 4 or 8) by which a picture may be reduced that is shown at `scale` of its size.
int32_t ReductionFor(double scale);

/// Decodes frames into pictures, reduced where the codec can. It keeps the decoder from frame to frame.
class PictureDecoder {
public:
    /// Gets ready for frames of a description; `noCodecErr` for a codec that can't be decoded.
    Result Prepare(const ImageDescription& description);

    /// Results as `FrameDecoder::Decode`; `memFullErr` without memory. `made` is only written for `noErr`.
    Result Decode(SharedFrame frame, const ImageDescription& description, int32_t reduction,
                  std::unique_ptr<DecodedPicture>& made);

    /// Decodes a frame onto pixels of its whole size.
    static Result DecodeWhole(const SharedFrame& frame, const ImageDescription& description, const PortPixels& target);

private:
    Result DecodeReduced(const SharedFrame& frame, int32_t factor, PictureBlock& picture);

    std::unique_ptr<FrameDecoder> decoder;
    ImageDescription decoded;
};

} // namespace platform
