// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <cstdint>
#include <deque>

namespace platform {

/// How fast samples come and how many bytes they are, over the last two seconds of capture time.
class DataRate {
public:
    /// Adds a sample. One that was captured before the last one begins a new measurement.
    void Add(int64_t captureTime, int64_t bytes);

    /// Forgets all samples.
    void BeginAnew() { samples.clear(); }

    /// For each turn of a display, with whether anything arrived in it: forgets what it knows after a second of
    /// nothing.
    void NoteTurn(bool arrived);

    double SamplesPerSecond() const; ///< 0 while it isn't known
    double BytesPerSecond() const;   ///< likewise

private:
    struct Arrival {
        int64_t time;
        int64_t bytes;
    };
    std::deque<Arrival> samples;
    int emptyTurns = 0;
};

/// A rate as people read it: "3.6 MB a second".
QString PerSecondText(double bytesPerSecond);

/// The same with what it makes in an hour: "3.6 MB a second, 13 GB an hour".
QString DataRateText(double bytesPerSecond);

} // namespace platform
