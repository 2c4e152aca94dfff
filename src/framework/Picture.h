// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Graphics.h"
#include "framework/Reference.h"

#include <QImage>

namespace framework {

/// A picture of 32-bit pixels with its own port, into which both `Graphics` and the platform draw.
class Picture {
public:
    /// Creates a white picture. `depth` must be 32. Raises `RuntimeException` for a size or depth that is not possible.
    Picture(int32_t width, int32_t height, int32_t depth = 32);
    ~Picture();
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;

    /// Creates a picture from a picture handle of the grabber: an image description followed by 32-bit pixels. Returns
    /// nil for other handles. `flag` is not used. The caller keeps the handle.
    static Reference<Picture> FromPicHandle(int32_t handle, int32_t flag);

    int32_t Width() const;  ///< in pixels
    int32_t Height() const; ///< in pixels
    /// Starts a drawing on the picture. All that is drawn until the next call counts as one drawing, for `Undrawn`.
    framework::Graphics& Graphics();

    /// The port, for direct access to the pixels; never 0.
    platform::PortReference RGBSurface() const;

    /// The pixels as an image that shares their memory; valid while the picture lives.
    QImage Image() const;

    /// A copy of the pixels without the last drawing; null if nothing was drawn.
    QImage Undrawn() const;

    /// Makes `Undrawn` of this copy of `original` return what it returns for `original`.
    void CopyUndrawn(const Picture& original) { undrawn = original.Undrawn(); }

private:
    QImage undrawn; ///< set in a copy
    platform::PortReference port = 0;
    std::unique_ptr<framework::Graphics> graphics;
};

} // namespace framework
