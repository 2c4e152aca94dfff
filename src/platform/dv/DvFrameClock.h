// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace platform {

/// Capture times of the frames of one DV stream, counted from the first one.
///
/// Frames arrive with the batch of packets that completes them, late by a few milliseconds or, on a busy machine, by a
/// hundred and more; but the source sends them at the exact rate of its system. So the times step by that rate. They
/// follow the arrivals only where frames are missing, and slowly where the source's clock has drifted away from ours:
/// beyond 10 ms, by a fraction of a millisecond a frame.
class DvFrameClock {
public:
    /// The capture time of the frame that was complete at `arrival`: nanoseconds at which its first packet was sent.
    /// `isPal` tells the length of the frame. `packetsLost`: since the frame before. Times ascend.
    int64_t Next(int64_t arrival, bool isPal, bool packetsLost);

    /// Frames that got lost before the last one. After a longer gap without lost packets the source stood still.
    uint32_t Lost() const { return lost; }

private:
    void Jump(int64_t to, bool framesLost);
    void Follow(int64_t late);

    // Times in thirds of a nanosecond, in which the frames of both systems have whole lengths: an hour of frames a
    // third of a nanosecond too long would end in one of another duration.
    int64_t end = 0; ///< of the last frame; 0 before the first
    int64_t period = 0;
    int64_t latest = 0; ///< time given last, in nanoseconds
    uint32_t lost = 0;
    int lateFrames = 0;       ///< in a row, by more than half a frame
    int64_t minLateness = 0;  ///< of these
    double drift = 0;         ///< smoothed
    bool isFollowing = false; ///< until the drift is made up for
};

} // namespace platform
