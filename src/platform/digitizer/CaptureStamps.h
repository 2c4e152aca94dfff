// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>

namespace platform {

/// Capture times of one stream's frames: a device's stamp where it can be true, else an estimate. The times ascend.
class CaptureStamps {
public:
    /// For frames at that nominal rate in frames per second; 0: unknown.
    explicit CaptureStamps(double frameRate = 0) : period(frameRate > 0 ? static_cast<int64_t>(1e9 / frameRate) : 0) {}

    /// The capture time of the next frame, which arrives `now`: nanoseconds of the monotonic clock. A stamp counts when
    /// it is past, no older than five seconds, and behind the last good one. A single bad one is replaced by the next
    /// point of the rate, several in a row by the times of arrival.
    int64_t Next(std::optional<int64_t> stamp, int64_t now)
    {
        constexpr int64_t oldest = 5'000'000'000;
        const bool isGood = stamp && *stamp <= now && *stamp > now - oldest && *stamp > lastGood;
        badInARow = isGood ? 0 : badInARow + 1;
        if (isGood)
            lastGood = *stamp;
        const bool isEstimated = badInARow == 1 && last != 0 && period != 0;
        const int64_t time = isGood ? *stamp : isEstimated ? std::min(last + period, now) : now;
        return last = std::max(time, last + 1);
    }

private:
    int64_t period;
    int64_t last = 0;
    int64_t lastGood = 0;
    int badInARow = 0;
};

} // namespace platform
