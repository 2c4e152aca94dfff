// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <deque>
#include <utility>

namespace platform {

/// Bytes a second over the last ten seconds.
class WritingRate {
public:
    /// So many bytes were recorded at this time (monotonic clock, nanoseconds).
    void Note(int64_t time, int64_t bytes);

    /// Negative while it is not known: within the first second.
    double BytesPerSecond() const;

private:
    std::deque<std::pair<int64_t, int64_t>> notes;
};

} // namespace platform
