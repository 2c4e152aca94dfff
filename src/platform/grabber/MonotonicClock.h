#pragma once

#include <cstdint>

namespace platform {

inline constexpr int64_t kNanosecondsPerSecond = 1'000'000'000;
inline constexpr int64_t kNanosecondsPerMillisecond = 1'000'000;

/// Nanoseconds of the clock by which the grabber judges whether a device is late. Any thread may ask.
int64_t MonotonicNow();

/// Replaces the clock with a test's own until it is called with null.
void SetMonotonicClock(int64_t (*clock)());

} // namespace platform
