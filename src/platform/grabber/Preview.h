// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/DecompressionSequence.h"
#include "platform/drawing/GraphicsWorlds.h"
#include "platform/grabber/Bounds.h"
#include "platform/grabber/Sample.h"

namespace platform {

/// Draws frames into a rectangle of a port. Uses the same decompression sequence until the frames, the port or the
/// rectangle change.
class Preview {
public:
    /// Draws a frame. Does nothing if the port has no 32-bit pixels or the frame doesn't decode.
    void Draw(const Sample& frame, PortReference port, const Bounds& target);

private:
    void Begin();

    std::shared_ptr<DecompressionSequence> sequence; ///< null if the frames can't be drawn
    PortReference drawnInto = 0;
    Bounds drawnAt;
    SharedDescription drawn;
};

} // namespace platform
