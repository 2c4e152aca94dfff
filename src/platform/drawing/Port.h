// SPDX-License-Identifier: MIT
#pragma once

#include "platform/drawing/Ports.h"
#include "platform/drawing/View.h"

#include <memory>
#include <vector>

namespace platform {

/// A port and its state, private to this module.
struct Port : std::enable_shared_from_this<Port> {
    OwnedBlock block;
    PortPixels pixels;
    PixMapReference map = 0;
    bool isWorld = false;
    std::vector<std::weak_ptr<View>> views;

    // A reduced picture, used instead of the pixels until they are read.
    PictureBlock reduced;
    std::function<bool(const PortPixels& whole)> refine;
    std::vector<std::function<void(const DrawingSurface&)>> drawn; ///< on the reduced picture

    bool IsReduced() const { return reduced.pixels.width > 0; } ///< whether there is only a reduced picture
    void DropReduced();                                         ///< discards the reduced picture and its drawings

    /// Draws the whole picture into the port's own pixels and repeats the drawings of the reduced picture on it.
    void Refine();
};

/// The port with that reference, or null.
std::shared_ptr<Port> FindPort(PortReference port);

/// Clips `rect` to `width` by `height` pixels; may be empty.
PortRect Clipped(const PortRect& rect, int32_t width, int32_t height);

} // namespace platform
