#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>

namespace platform {

/// Gives the buffers of a stream even time stamps out of measured ones that scatter by some milliseconds.
///
/// The count of samples carries the time from buffer to buffer, and a running mean of the measurements steers it, so
/// that the stamps follow the device's clock. A measurement far ahead of the count tells of samples that were lost.
/// Stamps always rise.
class CaptureClock {
public:
    struct Stamp {
        int64_t time = 0;        ///< nanoseconds at which the first sample was captured
        uint64_t framesLost = 0; ///< sample frames missing in front of it
    };

    /// Forgets everything.
    void Reset() { *this = {}; }

    /// The stream was interrupted: its next buffer shows how long.
    void Interrupt() { measurements = 0; }

    /// `frames` of the stream are known to be lost.
    void Skip(int64_t frames, double sampleRate)
    {
        if (expected)
            *expected += Duration(frames, sampleRate);
    }

    /// The stamp of the next `frames`, whose first was captured at `measured` as far as can be told.
    Stamp Take(int64_t measured, int64_t frames, double sampleRate)
    {
        Stamp stamp{.time = expected.value_or(measured)};
        const int64_t error = measured - stamp.time;
        const int64_t duration = Duration(frames, sampleRate);
        if (error > (measurements == 0 ? 0 : kGap)) {
            stamp.framesLost = static_cast<uint64_t>(static_cast<double>(error) * sampleRate / kNanoseconds + 0.5);
            stamp.time = measured;
            measurements = 0;
        }
        measurements = std::min(measurements + 1, kMeasurements);
        stamp.time += std::max((measured - stamp.time) / measurements, -duration / 2);
        expected = stamp.time + duration;
        return stamp;
    }

private:
    static constexpr double kNanoseconds = 1e9;
    static constexpr int64_t kGap = 100'000'000;
    static constexpr int64_t kMeasurements = 32;

    static int64_t Duration(int64_t frames, double sampleRate)
    {
        return static_cast<int64_t>(static_cast<double>(frames) / sampleRate * kNanoseconds + 0.5);
    }

    std::optional<int64_t> expected;
    int64_t measurements = 0; // since the start or the last gap, counted as far as the mean reaches
};

} // namespace platform
