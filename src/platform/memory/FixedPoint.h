// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace platform {

/// A signed number with 16 fraction bits. Unsigned values (sound rates) use the same 32 bits.
using Fixed = int32_t;

/// A whole number as `Fixed`; the bits above 16 are lost.
Fixed Long2Fix(int32_t value);

/// A double as `Fixed`, rounded to the nearest step and held at the ends of the range. NaN gives the lowest value,
/// which no gain or rate takes: a 0 would silence the sound.
Fixed X2Fix(double value);

/// The double of a `Fixed`.
double Fix2X(Fixed value);

/// `value` times `multiplier` divided by `divisor`, all unsigned, in 64-bit arithmetic and rounded down.
/// A divisor of 0, or a result above 32 bits, gives 0xFFFFFFFF.
uint32_t UnsignedFixedMulDiv(uint32_t value, uint32_t multiplier, uint32_t divisor);

/// The product and the quotient of two `Fixed`, rounded to the nearest step and held at the ends of the range.
/// A quotient by 0 is the end of the range on the dividend's side.
Fixed FixMul(Fixed a, Fixed b);
Fixed FixDiv(Fixed a, Fixed b);

} // namespace platform
