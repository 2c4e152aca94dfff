// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <thread>

/// Waits up to 20 seconds, whatever the platform's clock says, for a condition that another thread or process brings
/// about; false if it did not come.
template <typename Condition> bool Await(Condition condition)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}
