// SPDX-License-Identifier: MIT
#pragma once

#include "platform/clock/MonotonicClock.h"

#include <cmath>
#include <cstdint>
#include <numeric>

namespace platform {

/// A frame rate as a fraction, and the times of its frames counted from the monotonic clock's zero: frame n of a rate
/// has the same time in every process.
struct FrameGrid {
    int64_t frames = 30; ///< frames in `seconds` seconds, in lowest terms
    int64_t seconds = 1;

    /// The fraction for a rate: n/1001 for the television rates (29.97 etc.), thousandths otherwise.
    static FrameGrid ForRate(double rate)
    {
        const double television = rate * 1.001;
        const bool isTelevision =
            std::abs(television - std::round(television)) < 0.002 && std::abs(rate - std::round(rate)) > 0.002;
        FrameGrid grid{isTelevision ? std::llround(television) * 1000 : std::llround(rate * 1000),
                       isTelevision ? 1001 : 1000};
        grid.frames = grid.frames < 1 ? 1 : grid.frames;
        const int64_t divisor = std::gcd(grid.frames, grid.seconds);
        return {grid.frames / divisor, grid.seconds / divisor};
    }

    /// The time of a frame in nanoseconds.
    int64_t TimeOf(int64_t frame) const
    {
        return frame / frames * seconds * kNanosecondsPerSecond +
               frame % frames * seconds * kNanosecondsPerSecond / frames;
    }

    /// The last frame at or before a time.
    int64_t FrameAt(int64_t time) const
    {
        const int64_t round = seconds * kNanosecondsPerSecond;
        int64_t frame = time / round * frames + time % round / 1000 * frames / (round / 1000);
        while (TimeOf(frame + 1) <= time)
            ++frame;
        return frame;
    }

    /// Whether a frame is the first at or after a whole second.
    bool IsFlash(int64_t frame) const
    {
        return TimeOf(frame) / kNanosecondsPerSecond != TimeOf(frame - 1) / kNanosecondsPerSecond;
    }
};

} // namespace platform
