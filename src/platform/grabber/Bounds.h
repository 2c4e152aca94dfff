// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/AddressSpace.h"

#include <cstdint>

namespace platform {

/// The four 16-bit values of a published rectangle.
struct Bounds {
    int16_t top = 0;
    int16_t left = 0;
    int16_t bottom = 0;
    int16_t right = 0;

    /// Whether a side is 0 or negative.
    bool Empty() const { return bottom <= top || right <= left; }
    /// Width in pixels.
    int32_t Width() const { return right - left; }
    /// Height in pixels.
    int32_t Height() const { return bottom - top; }
    bool operator==(const Bounds&) const = default;
};

/// A rectangle of that size at 0, 0.
inline Bounds BoundsOfSize(int32_t width, int32_t height)
{
    return {0, 0, static_cast<int16_t>(height), static_cast<int16_t>(width)};
}

} // namespace platform
