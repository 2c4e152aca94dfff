// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace platform {

/// Gives the buffers of a stream even time stamps out of measured ones that scatter by some milliseconds.
///
/// The count of samples carries the time from buffer to buffer, and the median of the last measurements steers it, so
/// that the stamps follow the device's clock. On a busy machine single measurements come out far too late: they have no
/// influence on a median. Only when several in a row are far ahead of the count were samples lost. Stamps always rise.
class CaptureClock {
public:
    struct Stamp {
        int64_t time = 0;        ///< nanoseconds at which the first sample was captured
        uint64_t framesLost = 0; ///< sample frames missing in front of it
    };

    /// Forgets everything.
    void Reset() { *this = {}; }

    /// The stream was interrupted: its next buffer shows how long.
    void Interrupt() { interrupted = true; }

    /// `frames` of the stream are known to be lost.
    void Skip(int64_t frames, double sampleRate);

    /// The stamp of the next `frames`, whose first was captured at `measured` as far as can be told.
    Stamp Take(int64_t measured, int64_t frames, double sampleRate);

private:
    static constexpr size_t kMeasurements = 32;

    void Begin(int64_t measured);
    int64_t Median() const;

    bool begun = false;
    bool interrupted = false;
    int64_t settled = 0;                              ///< until then a small step is the latency's and no gap
    int64_t counted = 0;                              ///< time of the next sample by the count alone
    int64_t steered = 0;                              ///< what is added to it
    std::array<int64_t, kMeasurements> differences{}; ///< of the last measurements from the count
    size_t measurements = 0;                          ///< since the begin
    int farAhead = 0;                                 ///< measurements in a row that speak of a gap
};

} // namespace platform
