// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/DecodedPicture.h"

namespace platform {

/// The size for `ReducingDecoder::Decode` that is never smaller than the frame.
inline constexpr ShownSize kWholeSize{INT32_MAX, INT32_MAX};

/// Decodes frames at the scale at which they are shown if the codec can reduce, otherwise at full size. It keeps the
/// decoder from frame to frame.
class ReducingDecoder {
public:
    /// Prepares for frames with a description; `noCodecErr` if the codec can't be decoded.
    Result Prepare(const ImageDescription& description);

    /// Decodes a frame at most at the size at which it is shown, and never larger than the frame. Results as for
    /// `FrameDecoder::Decode`; `memFullErr` if memory is full. `made` is only written on success.
    Result Decode(SharedFrame frame, const ImageDescription& description, const ShownSize& shown,
                  std::unique_ptr<DecodedPicture>& made);

    /// Decodes a frame into pixels of its full size.
    static Result DecodeWhole(const SharedFrame& frame, const ImageDescription& description, const PortPixels& target);

private:
    Result DecodeAt(const SharedFrame& frame, int32_t width, int32_t height, PictureBlock& picture);

    std::unique_ptr<FrameDecoder> decoder;
    ImageDescription decoded;
};

} // namespace platform
