// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace framework {

/// A colour with 8 bits per component.
struct Color {
    uint8_t red = 0;
    uint8_t green = 0;
    uint8_t blue = 0;
    bool operator==(const Color&) const = default;
};

/// A colour from its components, each 0 to 255.
inline Color RGB(int red, int green, int blue)
{
    return {static_cast<uint8_t>(red), static_cast<uint8_t>(green), static_cast<uint8_t>(blue)};
}

} // namespace framework
