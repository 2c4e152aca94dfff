// SPDX-License-Identifier: MIT
#pragma once

#include "platform/drawing/GraphicsWorlds.h"
#include "platform/grabber/Bounds.h"
#include "platform/grabber/Sample.h"

namespace platform {

/// Draws frames into a rectangle of a port. One decompression sequence serves until the frames, the port or the
/// rectangle change.
class Preview {
public:
    Preview() = default;
    ~Preview() { End(); }
    Preview(const Preview&) = delete;
    Preview& operator=(const Preview&) = delete;

    /// Draws a frame. Does nothing for a port without 32-bit pixels, or where the frame doesn't decode.
    void Draw(const Sample& frame, PortReference port, const Bounds& target);

private:
    void Begin();
    void End();

    int32_t sequence = 0;
    PortReference drawnInto = 0;
    Bounds drawnAt;
    SharedDescription drawn;
};

} // namespace platform
