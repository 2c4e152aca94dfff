// SPDX-License-Identifier: MIT
#pragma once

#include "platform/drawing/Ports.h"

#include <QImage>
#include <QRect>

namespace framework {

/// An image that shares the memory of 32-bit pixels of the platform; null if there are no pixels.
inline QImage ImageOf(const platform::PortPixels& pixels)
{
    if (pixels.width < 1)
        return {};
    return {pixels.pixels, pixels.width, pixels.height, pixels.rowBytes, QImage::Format_RGB32};
}

/// An image that shares the memory of a port of 32-bit pixels; null for other references. Valid until the port changes
/// its size or is released.
inline QImage ImageOfPort(platform::PortReference port)
{
    const auto pixels = platform::PixelsOfPort(port);
    if (!pixels || pixels->format != platform::kPixelFormat32)
        return {};
    return ImageOf(*pixels);
}

/// Converts a rectangle for Qt.
inline QRect ToQt(const platform::PortRect& rect)
{
    return {rect.left, rect.top, rect.width, rect.height};
}

} // namespace framework
