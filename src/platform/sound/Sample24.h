// SPDX-License-Identifier: MIT
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace platform {

/// Samples of 24 bits take three bytes each, in host byte order. In 32 bits they are the upper three bytes.
inline constexpr int kPlaceOf24In32 = std::endian::native == std::endian::little ? 1 : 0;

/// A sample as a number of 32 bits, full scale at full scale.
inline int32_t WideSample24(const uint8_t* bytes)
{
    int32_t sample = 0;
    std::memcpy(reinterpret_cast<uint8_t*>(&sample) + kPlaceOf24In32, bytes, 3);
    return sample;
}

/// Stores the upper 24 bits.
inline void PutWideSample24(uint8_t* bytes, int32_t sample)
{
    std::memcpy(bytes, reinterpret_cast<const uint8_t*>(&sample) + kPlaceOf24In32, 3);
}

} // namespace platform
