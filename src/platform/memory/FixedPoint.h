// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace platform {

/// A signed 16.16 fixed-point number. Unsigned values (sound rates) use the same 32 bits.
using Fixed = int32_t;

/// Converts an integer; bits above the lower 16 are lost.
Fixed Long2Fix(int32_t value);

/// Converts a double, rounded to the nearest value and clamped to the range. NaN gives the lowest value, which no gain
/// or rate accepts; 0 would silence the sound.
Fixed X2Fix(double value);

/// Converts to a double.
double Fix2X(Fixed value);

/// `value` times `multiplier` divided by `divisor`, all unsigned, in 64-bit arithmetic and rounded down.
/// A divisor of 0, or a result above 32 bits, gives 0xFFFFFFFF.
uint32_t UnsignedFixedMulDiv(uint32_t value, uint32_t multiplier, uint32_t divisor);

/// The product, rounded to the nearest value and clamped to the range.
Fixed FixMul(Fixed a, Fixed b);
/// The quotient, rounded to the nearest value and clamped to the range. Division by 0 gives the end of the range with
/// the sign of `a`.
Fixed FixDiv(Fixed a, Fixed b);

} // namespace platform
