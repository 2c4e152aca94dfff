// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/DecodedPicture.h"

namespace platform {

/// For `ReducingDecoder::Decode`: as large as the frame.
inline constexpr ShownSize kWholeSize{INT32_MAX, INT32_MAX};

/// Decodes frames at the scale at which they are shown where the codec can reduce, else whole. It keeps the decoder
/// from frame to frame.
class ReducingDecoder {
public:
    /// Gets ready for frames of a description; `noCodecErr` for a codec that can't be decoded.
    Result Prepare(const ImageDescription& description);

    /// Decodes a frame for being shown at a size: no larger than that, and never larger than the frame. Results as
    /// `FrameDecoder::Decode`; `memFullErr` without memory. `made` is only written for `noErr`.
    Result Decode(SharedFrame frame, const ImageDescription& description, const ShownSize& shown,
                  std::unique_ptr<DecodedPicture>& made);

    /// Decodes a frame onto pixels of its whole size.
    static Result DecodeWhole(const SharedFrame& frame, const ImageDescription& description, const PortPixels& target);

private:
    Result DecodeAt(const SharedFrame& frame, int32_t width, int32_t height, PictureBlock& picture);

    std::unique_ptr<FrameDecoder> decoder;
    ImageDescription decoded;
};

} // namespace platform
