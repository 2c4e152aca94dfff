// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/FrameDecoder.h"

#include <memory>

namespace platform {

/// A captured frame's bytes, shared by all who use them.
struct SharedFrame {
    std::shared_ptr<const void> owner;
    std::span<const uint8_t> bytes;
};

/// A frame decoded to 32-bit pixels, at full or reduced size, and the frame itself to decode it again.
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

} // namespace platform
