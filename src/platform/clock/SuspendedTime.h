// SPDX-License-Identifier: MIT
#pragma once

#include "platform/clock/MonotonicClock.h"

namespace platform {

/// Nanoseconds that the machine has been suspended since it was started: how far CLOCK_BOOTTIME is ahead of
/// CLOCK_MONOTONIC, which stands still meanwhile. Any thread.
int64_t SuspendedTime();

/// Replaces the time in a test; null restores it.
void SetSuspendedTime(int64_t (*time)());

/// Detects that the machine was suspended. One thread at a time.
class SuspendWatch {
public:
    /// Nanoseconds that the machine was suspended since the last call, or since the object was made; 0 for less than
    /// 100 ms.
    int64_t TakeSuspension()
    {
        constexpr int64_t kMinSuspension = 100 * kNanosecondsPerMillisecond;
        const int64_t present = SuspendedTime();
        const int64_t length = present - seen;
        seen = present;
        return length < kMinSuspension ? 0 : length;
    }

private:
    int64_t seen = SuspendedTime();
};

} // namespace platform
