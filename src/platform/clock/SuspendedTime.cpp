// SPDX-License-Identifier: MIT
#include "platform/clock/SuspendedTime.h"

#include <atomic>

namespace platform {
namespace {

std::atomic<int64_t (*)()> replacement{nullptr};

} // namespace

// The clocks are read one after the other, again if the thread was held up in between.
int64_t SuspendedTime()
{
    if (const auto time = replacement.load())
        return time();
    for (;;) {
        const int64_t before = ReadClock(CLOCK_MONOTONIC);
        const int64_t suspended = ReadClock(CLOCK_BOOTTIME) - before;
        if (ReadClock(CLOCK_MONOTONIC) - before < kNanosecondsPerMillisecond)
            return suspended;
    }
}

void SetSuspendedTime(int64_t (*time)())
{
    replacement = time;
}

} // namespace platform
