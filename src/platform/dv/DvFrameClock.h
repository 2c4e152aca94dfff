// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace platform {

/// Capture times of the frames of one DV stream, computed from the first one.
///
/// Frames arrive with the batch of packets that completes them, a few milliseconds late, or a hundred and more on a
/// busy machine; but the source sends them at the exact rate of its system. So the times advance at that rate. They
/// follow the arrivals only if frames are missing, and slowly if the source's clock has drifted away from ours: beyond
/// 10 ms, by a fraction of a millisecond per frame.
class DvFrameClock {
public:
    /// The capture time of the frame that was complete at `arrival`: the time in nanoseconds at which its first packet
    /// was sent. `isPal` selects the frame's duration. `packetsLost`: since the previous frame. Times increase.
    int64_t Next(int64_t arrival, bool isPal, bool packetsLost);

    /// Number of frames lost before the last one. A longer gap without lost packets means that the source was paused.
    uint32_t Lost() const { return lost; }

private:
    void Jump(int64_t to, bool framesLost);
    void Follow(int64_t late);

    // Times in thirds of a nanosecond, in which the frames of both systems have whole durations: with frames a third of
    // a nanosecond too long, the durations would differ after an hour.
    int64_t end = 0; ///< of the last frame; 0 before the first
    int64_t period = 0;
    int64_t latest = 0; ///< the last time returned, in nanoseconds
    uint32_t lost = 0;
    int lateFrames = 0;       ///< consecutive ones, by more than half a frame
    int64_t minLateness = 0;  ///< of these
    double drift = 0;         ///< smoothed
    bool isFollowing = false; ///< until the drift is corrected
};

} // namespace platform
