// SPDX-License-Identifier: MIT
#pragma once

#include "platform/drawing/Ports.h"

#include <array>
#include <libyuv/convert_argb.h>
#include <vector>

namespace platform {

/// A picture with separate luma and chroma planes, borrowed.
struct PlanarPicture {
    std::array<const uint8_t*, 3> planes{};
    std::array<int32_t, 3> rowBytes{};
    int32_t width = 0;
    int32_t height = 0;
    int32_t chromaWidth = 0;
    int32_t chromaHeight = 0;
};

/// Converts pictures to 32-bit pixels of a smaller size. Planes are scaled separately, which is less data than 32-bit
/// pixels, and converted afterwards.
class ReducedConversion {
public:
    /// Whether `Draw` supports the subsampling: 4:4:4, 4:2:2 or 4:2:0.
    static bool Suits(const PlanarPicture& picture);

    /// Draws a supported picture onto the whole of `target`, which must not be larger than the picture.
    void Draw(const PlanarPicture& picture, const libyuv::YuvConstants& colors, const PortPixels& target);

private:
    std::vector<uint8_t> scaled; ///< the scaled planes; these two are reused from frame to frame
    std::vector<uint8_t> band;   ///< rows between two steps of scaling
};

/// Scales 32-bit pixels onto the whole of `target`.
void ScaleTo(const PortPixels& picture, const PortPixels& target);

} // namespace platform
