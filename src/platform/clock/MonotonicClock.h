// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>

namespace platform {

inline constexpr int64_t kNanosecondsPerSecond = 1'000'000'000;
inline constexpr int64_t kNanosecondsPerMillisecond = 1'000'000;

/// Nanoseconds of the monotonic clock (CLOCK_MONOTONIC), by which every sample is stamped and every device judged.
/// Any thread may ask.
int64_t MonotonicNow();

/// Replaces the clock with a test's own until it is called with null. The threads that wait for a time go on waiting
/// by the real clock.
void SetMonotonicClock(int64_t (*clock)());

/// A time of the real monotonic clock as the standard library's waiting functions take it.
inline std::chrono::steady_clock::time_point SteadyTime(int64_t nanoseconds)
{
    return std::chrono::steady_clock::time_point(std::chrono::nanoseconds(nanoseconds));
}

} // namespace platform
