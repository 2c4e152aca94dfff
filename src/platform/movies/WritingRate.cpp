// SPDX-License-Identifier: MIT
#include "platform/movies/WritingRate.h"

#include "platform/clock/MonotonicClock.h"

namespace platform {

void WritingRate::Note(int64_t time, int64_t bytes)
{
    constexpr int64_t kWindow = 10 * kNanosecondsPerSecond;
    notes.emplace_back(time, bytes);
    while (notes.size() > 2 && time - notes[1].first >= kWindow)
        notes.pop_front();
}

double WritingRate::BytesPerSecond() const
{
    if (notes.empty() || notes.back().first - notes.front().first < kNanosecondsPerSecond)
        return -1;
    return static_cast<double>(notes.back().second - notes.front().second) * kNanosecondsPerSecond /
           static_cast<double>(notes.back().first - notes.front().first);
}

} // namespace platform
