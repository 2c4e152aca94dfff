// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/Matrix.h"
#include "platform/drawing/Ports.h"

namespace platform {

/// 32-bit pixels to draw, borrowed.
struct SourcePixels {
    const uint8_t* pixels = nullptr;
    int32_t rowBytes = 0;
    int32_t width = 0;
    int32_t height = 0;
};

/// Draws 32-bit pictures into ports through a transform, clipped to the port. A pixel of the port is drawn if its
/// centre is inside the transformed picture.
class PictureDrawing {
public:
    /// Draws in the fastest way that the transform permits: copying, mirroring and scaling by vector code if the
    /// picture stays upright, otherwise `DrawSampled`. Returns the changed rectangle of the port.
    PortRect Draw(SourcePixels source, Transform transform, const PortPixels& port);

    /// Works for any transform: interpolates each pixel from the four nearest pixels of the picture.
    static PortRect DrawSampled(const SourcePixels& source, const Transform& transform, const PortPixels& port);

private:
    struct Placement;

    void Reduce(SourcePixels& source, Transform& transform);
    void DrawScaled(const SourcePixels& source, const Placement& placement, const PortPixels& port);

    OwnedBlock reduced;    ///< a picture halved or quartered before drawing
    OwnedBlock unmirrored; ///< a scaled picture before mirroring
};

} // namespace platform
