// SPDX-License-Identifier: MIT
#pragma once

#include "platform/drawing/PixelFormat.h"

namespace platform {

/// Whether a device's picture may have that size, in pixels.
constexpr bool IsPictureSize(int64_t width, int64_t height)
{
    return width >= 1 && height >= 1 && width <= kMaxPictureSide && height <= kMaxPictureSide;
}

} // namespace platform
