// SPDX-License-Identifier: MIT
#include "platform/clock/SuspendedTime.h"

#include <atomic>
#include <ctime>

namespace platform {
namespace {

std::atomic<int64_t (*)()> replacement{nullptr};

int64_t Now(clockid_t clock)
{
    timespec now{};
    clock_gettime(clock, &now);
    return int64_t{now.tv_sec} * kNanosecondsPerSecond + now.tv_nsec;
}

} // namespace

// The clocks are read one after the other, again if the thread was held up in between.
int64_t SuspendedTime()
{
    if (const auto time = replacement.load())
        return time();
    for (;;) {
        const int64_t before = Now(CLOCK_MONOTONIC);
        const int64_t suspended = Now(CLOCK_BOOTTIME) - before;
        if (Now(CLOCK_MONOTONIC) - before < kNanosecondsPerMillisecond)
            return suspended;
    }
}

void SetSuspendedTime(int64_t (*time)())
{
    replacement = time;
}

} // namespace platform
