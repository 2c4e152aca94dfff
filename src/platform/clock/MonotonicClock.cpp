// SPDX-License-Identifier: MIT
#include "platform/clock/MonotonicClock.h"

#include <atomic>

namespace platform {
namespace {

std::atomic<int64_t (*)()> replacement{nullptr};

} // namespace

int64_t MonotonicNow()
{
    if (const auto clock = replacement.load())
        return clock();
    return ReadClock(CLOCK_MONOTONIC);
}

void SetMonotonicClock(int64_t (*clock)())
{
    replacement = clock;
}

int64_t ReadClock(clockid_t clock)
{
    timespec now{};
    clock_gettime(clock, &now);
    return int64_t{now.tv_sec} * kNanosecondsPerSecond + now.tv_nsec;
}

} // namespace platform
