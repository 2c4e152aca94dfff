// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/Matrix.h"
#include "platform/drawing/Ports.h"

namespace platform {

/// 32-bit pixels to draw from, borrowed.
struct SourcePixels {
    const uint8_t* pixels = nullptr;
    int32_t rowBytes = 0;
    int32_t width = 0;
    int32_t height = 0;
};

/// Draws 32-bit pictures into ports through a transform, clipped to the port. A pixel of the port is drawn when its
/// centre lies within the transformed picture.
class PictureDrawing {
public:
    /// Draws with the quickest road that the transform allows: copying, mirroring and scaling by vector code where
    /// the picture stays upright, else `DrawSampled`. Returns the rectangle of the port that was touched.
    PortRect Draw(SourcePixels source, Transform transform, const PortPixels& port);

    /// The road for any transform: every pixel is looked up in the picture and mixed from its four neighbours.
    static PortRect DrawSampled(const SourcePixels& source, const Transform& transform, const PortPixels& port);

private:
    struct Placement;

    void Reduce(SourcePixels& source, Transform& transform);
    void DrawScaled(const SourcePixels& source, const Placement& placement, const PortPixels& port);

    OwnedBlock reduced;    ///< a picture halved or quartered before it is drawn
    OwnedBlock unmirrored; ///< a scaled picture that is still to be mirrored
};

} // namespace platform
