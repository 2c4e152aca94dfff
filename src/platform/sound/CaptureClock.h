// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace platform {

/// Computes even time stamps for the buffers of a stream from measured ones, which have several milliseconds of jitter.
///
/// The number of samples advances the time from buffer to buffer, and the median of the last measurements corrects it,
/// so that the stamps follow the device's clock. On a busy machine single measurements are far too late; they do not
/// affect a median. Samples count as lost only if several measurements in a row are far ahead. Stamps always increase.
class CaptureClock {
public:
    /// The time stamp of a buffer.
    struct Stamp {
        int64_t time = 0;        ///< capture time of the first sample in nanoseconds
        uint64_t framesLost = 0; ///< sample frames lost before it
    };

    /// Resets to the initial state.
    void Reset() { *this = {}; }

    /// Notes that the stream was interrupted. The next buffer shows for how long.
    void Interrupt() { interrupted = true; }

    /// Skips `frames` sample frames that are known to be lost.
    void Skip(int64_t frames, double sampleRate);

    /// Returns the stamp of the next `frames` sample frames, whose first one was measured at `measured` nanoseconds.
    Stamp Take(int64_t measured, int64_t frames, double sampleRate);

private:
    static constexpr size_t kMeasurements = 32;

    void Begin(int64_t measured);
    int64_t Median() const;

    bool begun = false;
    bool interrupted = false;
    int64_t settled = 0;                              ///< until then a small step is due to the latency, not a gap
    int64_t counted = 0;                              ///< time of the next sample by the sample count
    int64_t steered = 0;                              ///< correction added to `counted`
    std::array<int64_t, kMeasurements> differences{}; ///< last measurements less `counted`
    size_t measurements = 0;                          ///< since `Begin`
    int farAhead = 0;                                 ///< consecutive measurements that indicate a gap
};

} // namespace platform
