// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <ctime>

namespace platform {

inline constexpr int64_t kNanosecondsPerSecond = 1'000'000'000;
inline constexpr int64_t kNanosecondsPerMillisecond = 1'000'000;

/// The time in nanoseconds of the monotonic clock (CLOCK_MONOTONIC), used for all time stamps and time-outs. Any
/// thread.
int64_t MonotonicNow();

/// Replaces the clock in a test; null restores it. Threads that wait for a point in time still use the real clock.
void SetMonotonicClock(int64_t (*clock)());

/// The time in nanoseconds of one of the system's clocks, such as CLOCK_BOOTTIME. Any thread.
int64_t ReadClock(clockid_t clock);

/// Converts a time of the real monotonic clock for the standard library's waiting functions.
inline std::chrono::steady_clock::time_point SteadyTime(int64_t nanoseconds)
{
    return std::chrono::steady_clock::time_point(std::chrono::nanoseconds(nanoseconds));
}

} // namespace platform
