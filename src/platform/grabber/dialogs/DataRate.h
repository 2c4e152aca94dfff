// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <cstdint>
#include <deque>

namespace platform {

/// The rates of samples and bytes over the last two seconds of capture time.
class DataRate {
public:
    /// Adds a sample. One that was captured before the last one starts a new measurement.
    void Add(int64_t captureTime, int64_t bytes);

    /// Discards all samples.
    void Reset() { samples.clear(); }

    /// Call it for each refresh of the display, with whether anything arrived since the last one: discards the samples
    /// after a second without any.
    void NoteTurn(bool arrived);

    double SamplesPerSecond() const; ///< 0 while not known
    double BytesPerSecond() const;   ///< 0 while not known

private:
    struct Arrival {
        int64_t time;
        int64_t bytes;
    };
    std::deque<Arrival> samples;
    int emptyTurns = 0;
};

/// A rate for the user: "3.6 MB a second".
QString PerSecondText(double bytesPerSecond);

/// The same with the amount per hour: "3.6 MB a second, 13 GB an hour".
QString DataRateText(double bytesPerSecond);

} // namespace platform
