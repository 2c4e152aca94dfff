// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <deque>
#include <utility>

namespace platform {

/// The recording rate in bytes per second over the last ten seconds.
class WritingRate {
public:
    /// `bytes` bytes had been recorded at this time (monotonic clock, nanoseconds).
    void Note(int64_t time, int64_t bytes);

    /// Negative while it is not known: in the first second.
    double BytesPerSecond() const;

private:
    std::deque<std::pair<int64_t, int64_t>> notes;
};

} // namespace platform
