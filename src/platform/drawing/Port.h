// SPDX-License-Identifier: MIT
#pragma once

#include "platform/drawing/Ports.h"
#include "platform/drawing/View.h"

#include <memory>
#include <vector>

namespace platform {

/// What this room keeps of a port.
struct Port : std::enable_shared_from_this<Port> {
    OwnedBlock block;
    PortPixels pixels;
    PixMapReference map = 0;
    bool isWorld = false;
    std::vector<std::weak_ptr<View>> views;

    // A reduced picture that stands for the pixels, until they are read.
    PictureBlock reduced;
    std::function<bool(const PortPixels& whole)> refine;
    std::vector<std::function<void(const DrawingSurface&)>> drawn; ///< on the reduced picture

    bool IsReduced() const { return reduced.pixels.width > 0; }
    void ForgetReduced();

    /// Makes the port's own pixels the whole picture, with all that was drawn on the reduced one.
    void Refine();
};

/// The living port of a number, or null.
std::shared_ptr<Port> FindPort(PortReference port);

/// The part of `rect` that lies within `width` by `height` pixels; empty where there is none.
PortRect Clipped(const PortRect& rect, int32_t width, int32_t height);

} // namespace platform
