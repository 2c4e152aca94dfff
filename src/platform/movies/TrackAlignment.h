// SPDX-License-Identifier: MIT
#pragma once

#include "platform/movies/MovieContents.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace platform {

/// Finds out when a media's time 0 was captured, from the capture times of its samples. Each of them gives an answer;
/// the median of all is kept to, so that late frames and first ones of odd length don't count.
class CaptureOffsets {
public:
    /// A sample of the media time `mediaTime` was captured at `captureTime` (nanoseconds).
    void Add(int64_t captureTime, int64_t mediaTime, int32_t timeScale);

    /// The capture time of media time 0 in nanoseconds; nothing before the first `Add`.
    std::optional<int64_t> Median() const;

private:
    std::vector<int64_t> offsets; // of every `stride`th sample
    int64_t stride = 1;
    int64_t added = 0;
};

/// A capture time, moved on by a media time.
int64_t LaterBy(int64_t captureTime, int64_t mediaTime, int32_t timeScale);

/// The edits of each track as the file has them, with durations in units of `kFileTimeScale`. Where the capture times
/// of picture and sound are known, sound is moved by what the two are apart, up to half a second.
std::vector<std::vector<Edit>> AlignedEdits(const MovieContents& movie);

} // namespace platform
