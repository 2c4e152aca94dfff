// SPDX-License-Identifier: MIT
#include "platform/memory/FixedPoint.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace platform {
namespace {

constexpr double kOne = 65536.0;

Fixed Clamped(double steps)
{
    constexpr double lowest = std::numeric_limits<Fixed>::min();
    constexpr double highest = std::numeric_limits<Fixed>::max();
    return static_cast<Fixed>(std::clamp(std::round(steps), lowest, highest));
}

} // namespace

Fixed Long2Fix(int32_t value)
{
    return static_cast<Fixed>(static_cast<uint32_t>(value) << 16);
}

Fixed X2Fix(double value)
{
    return std::isnan(value) ? std::numeric_limits<Fixed>::min() : Clamped(value * kOne);
}

double Fix2X(Fixed value)
{
    return value / kOne;
}

uint32_t UnsignedFixedMulDiv(uint32_t value, uint32_t multiplier, uint32_t divisor)
{
    constexpr uint32_t highest = std::numeric_limits<uint32_t>::max();
    if (divisor == 0)
        return highest;
    const uint64_t quotient = uint64_t{value} * multiplier / divisor;
    return quotient > highest ? highest : static_cast<uint32_t>(quotient);
}

Fixed FixMul(Fixed a, Fixed b)
{
    return Clamped(static_cast<double>(a) * b / kOne);
}

Fixed FixDiv(Fixed a, Fixed b)
{
    if (b == 0)
        return a < 0 ? std::numeric_limits<Fixed>::min() : std::numeric_limits<Fixed>::max();
    return Clamped(static_cast<double>(a) * kOne / b);
}

} // namespace platform
