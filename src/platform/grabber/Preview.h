// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/DecompressionSequence.h"
#include "platform/drawing/GraphicsWorlds.h"
#include "platform/grabber/Bounds.h"
#include "platform/grabber/Sample.h"

namespace platform {

/// Draws frames into a rectangle of a port. One decompression sequence serves until the frames, the port or the
/// rectangle change.
class Preview {
public:
    /// Draws a frame. Does nothing for a port without 32-bit pixels, or where the frame doesn't decode.
    void Draw(const Sample& frame, PortReference port, const Bounds& target);

private:
    void Begin();

    std::shared_ptr<DecompressionSequence> sequence; ///< null where the frames can't be drawn
    PortReference drawnInto = 0;
    Bounds drawnAt;
    SharedDescription drawn;
};

} // namespace platform
