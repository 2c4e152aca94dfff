// SPDX-License-Identifier: MIT
#include "platform/clock/MonotonicClock.h"

#include <atomic>
#include <ctime>

namespace platform {
namespace {

std::atomic<int64_t (*)()> replacement{nullptr};

} // namespace

int64_t MonotonicNow()
{
    if (const auto clock = replacement.load())
        return clock();
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * kNanosecondsPerSecond + now.tv_nsec;
}

void SetMonotonicClock(int64_t (*clock)())
{
    replacement = clock;
}

} // namespace platform
