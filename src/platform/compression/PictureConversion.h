// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/LibavOwners.h"

#include <cstdint>

namespace platform {

/// Converts and scales between libavcodec's pictures, and keeps the scaler's tables from frame to frame.
class PictureConversion {
public:
    /// Converts a picture to 32-bit pixels of ports with the same size, by the colors that it states. If it states
    /// none, small pictures are treated as BT.601, high-definition ones as BT.709.
    bool To32(const AVFrame& picture, uint8_t* target, int32_t targetRowBytes);

    /// Fills `target` (format, size, color range and buffers set) from `picture`, scaled if the sizes differ.
    bool Convert(const AVFrame& picture, AVFrame& target);

private:
    bool Prepare(const AVFrame& picture, int format, int32_t width, int32_t height, int matrix, bool fullRange);

    ScalerOwner scaler;
    struct Shape {
        int format = -1, width = 0, height = 0, matrix = 0;
        bool fullRange = false;

        bool operator==(const Shape&) const = default;
    };
    Shape source;
    Shape destination;
};

} // namespace platform
