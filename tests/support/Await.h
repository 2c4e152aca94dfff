// SPDX-License-Identifier: MIT
#pragma once

#include "platform/clock/MonotonicClock.h"

#include <chrono>
#include <thread>

/// Waits up to 20 seconds for a condition that another thread or process brings about; false if it did not come.
template <typename Condition> bool Await(Condition condition)
{
    const int64_t end = platform::MonotonicNow() + 20 * platform::kNanosecondsPerSecond;
    while (!condition()) {
        if (platform::MonotonicNow() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}
