// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace platform {

// Cameras and video codecs use the video range (luma 16 to 235, chroma 16 to 240), JPEG all 256 values.

/// Applies a function to bytes. The inner loop has a fixed length so that the compiler uses vector instructions.
template <typename Function> void ForEachByte(std::span<uint8_t> bytes, Function function)
{
    constexpr size_t kRun = 64;
    uint8_t* at = bytes.data();
    uint8_t* const end = at + bytes.size();
    for (; end - at >= static_cast<ptrdiff_t>(kRun); at += kRun)
        for (size_t i = 0; i < kRun; ++i)
            at[i] = function(at[i]);
    for (; at != end; ++at)
        *at = function(*at);
}

/// Video range to full range. The products fit 16 bits, here and below.
inline uint8_t StretchedLuma(uint8_t value)
{
    const uint8_t held = std::clamp<uint8_t>(value, 16, 235);
    return static_cast<uint8_t>(static_cast<uint16_t>((held - 16) * 149 + 64) >> 7);
}

/// Leaves 128 as it is.
inline uint8_t StretchedChroma(uint8_t value)
{
    const uint8_t held = std::clamp<uint8_t>(value, 16, 240);
    return static_cast<uint8_t>(static_cast<uint16_t>((held - 16) * 291 + 256) >> 8);
}

/// Full range to video range.
inline uint8_t ShrunkLuma(uint8_t value)
{
    return static_cast<uint8_t>(16 + (static_cast<uint16_t>(value * 55 + 32) >> 6));
}

/// Leaves 128 as it is.
inline uint8_t ShrunkChroma(uint8_t value)
{
    return static_cast<uint8_t>(16 + (static_cast<uint16_t>(value * 225 + 64) >> 8));
}

} // namespace platform
