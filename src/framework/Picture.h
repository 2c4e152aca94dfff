// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Graphics.h"
#include "framework/Reference.h"

#include <QImage>

namespace framework {

/// A picture of 32-bit pixels in a port of its own, into which both `Graphics` and the platform draw.
class Picture {
public:
    /// `depth` is 32. A size that no port can have raises `RuntimeException`. The pixels start white.
    Picture(int32_t width, int32_t height, int32_t depth = 32);
    ~Picture();
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;

    /// A picture from a picture handle (an image description and 32-bit pixels, as the grabber makes it); nil for a
    /// handle that holds none. `flag` is 1. The handle stays the caller's.
    static Reference<Picture> FromPicHandle(int32_t handle, int32_t flag);

    /// The size in pixels.
    int32_t Width() const;
    int32_t Height() const;
    /// For drawing on the picture as it is now. What is drawn until it is asked for again counts as one drawing.
    framework::Graphics& Graphics();

    /// The port, as direct access to the pixels; never 0.
    platform::PortReference RGBSurface() const;

    /// The pixels as an image over the same memory, valid while the picture lives.
    QImage Image() const;

    /// The pixels without the last drawing; null when nothing was drawn.
    QImage Undrawn() const;

    /// Takes over what a picture of the same size, of which this one is a copy, is without its drawing.
    void CopyUndrawn(const Picture& original) { undrawn = original.Undrawn(); }

private:
    QImage undrawn; ///< of a copy
    platform::PortReference port = 0;
    std::unique_ptr<framework::Graphics> graphics;
};

} // namespace framework
