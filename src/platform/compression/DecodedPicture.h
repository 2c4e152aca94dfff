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

    /// Whether the picture is smaller than the frame.
    bool IsReduced() const
    {
        return picture.pixels.width < description.width || picture.pixels.height < description.height;
    }
};

/// The size in pixels at which a whole frame is shown.
struct ShownSize {
    int32_t width = 0;
    int32_t height = 0;

    bool operator==(const ShownSize&) const = default;
};

/// For `PictureDecoder::Decode`: as large as the frame.
inline constexpr ShownSize kWholeSize{INT32_MAX, INT32_MAX};

/// Decodes frames into pictures, reduced where the codec can. It keeps the decoder from frame to frame.
class PictureDecoder {
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
