// SPDX-License-Identifier: MIT
#pragma once

#include "platform/drawing/Ports.h"

#include <QImage>
#include <QRect>

namespace framework {

/// An image over 32-bit pixels of the platform; null over no pixels.
inline QImage ImageOf(const platform::PortPixels& pixels)
{
    if (pixels.width < 1)
        return {};
    return {pixels.pixels, pixels.width, pixels.height, pixels.rowBytes, QImage::Format_RGB32};
}

/// An image over the memory of a living port of 32-bit pixels; null for any other. Valid until the port changes size.
inline QImage ImageOfPort(platform::PortReference port)
{
    const auto pixels = platform::PixelsOfPort(port);
    if (!pixels || pixels->format != platform::kPixelFormat32)
        return {};
    return ImageOf(*pixels);
}

/// The same rectangle for Qt.
inline QRect ToQt(const platform::PortRect& rect)
{
    return {rect.left, rect.top, rect.width, rect.height};
}

} // namespace framework
