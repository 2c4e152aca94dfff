// SPDX-License-Identifier: MIT
#pragma once

#include "platform/clock/MonotonicClock.h"

#include <algorithm>
#include <cstdint>
#include <optional>

namespace platform {

/// Capture times of a stream's frames: the device's time stamp if it is plausible, otherwise an estimate. Times
/// increase.
class CaptureStamps {
public:
    /// For frames at that nominal rate in frames per second; 0: unknown.
    explicit CaptureStamps(double frameRate = 0)
        : period(frameRate > 0 ? static_cast<int64_t>(kNanosecondsPerSecond / frameRate) : 0)
    {
    }

    /// The capture time of the next frame, which arrived at `now`, in nanoseconds of the monotonic clock. A stamp is
    /// plausible if it is in the past, at most five seconds old, and after the last plausible one. A single implausible
    /// stamp is replaced by the next multiple of the frame period, several in a row by their times of arrival.
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
