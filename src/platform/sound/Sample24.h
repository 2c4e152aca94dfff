// SPDX-License-Identifier: MIT
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace platform {

/// A 24-bit sample is three bytes in host byte order: the upper three bytes of a 32-bit sample, from this offset on.
inline constexpr int kPlaceOf24In32 = std::endian::native == std::endian::little ? 1 : 0;

/// Reads a 24-bit sample as a 32-bit sample with the same full scale.
inline int32_t WideSample24(const uint8_t* bytes)
{
    int32_t sample = 0;
    std::memcpy(reinterpret_cast<uint8_t*>(&sample) + kPlaceOf24In32, bytes, 3);
    return sample;
}

/// Stores the upper 24 bits of a 32-bit sample.
inline void PutWideSample24(uint8_t* bytes, int32_t sample)
{
    std::memcpy(bytes, reinterpret_cast<const uint8_t*>(&sample) + kPlaceOf24In32, 3);
}

} // namespace platform
