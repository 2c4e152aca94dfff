// SPDX-License-Identifier: MIT
#pragma once

#include "platform/movies/MovieContents.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace platform {

/// Determines when a media's time 0 was captured, from the capture times of its samples. Each sample gives an estimate;
/// the result is the median, so late frames and first frames of odd length have no effect.
class CaptureOffsets {
public:
    /// The sample at the media time `mediaTime` was captured at `captureTime` (nanoseconds).
    void Add(int64_t captureTime, int64_t mediaTime, int32_t timeScale);

    /// The capture time of media time 0 in nanoseconds; none before the first `Add`.
    std::optional<int64_t> Median() const;

private:
    std::vector<int64_t> offsets; // one per `stride` samples
    int64_t stride = 1;
    int64_t added = 0;
};

/// A capture time, advanced by a media time.
int64_t LaterBy(int64_t captureTime, int64_t mediaTime, int32_t timeScale);

/// The edits of each track as stored in the file, with durations in units of `kFileTimeScale`. If the capture times of
/// picture and sound are known, the sound is shifted by their difference, up to half a second.
std::vector<std::vector<Edit>> AlignedEdits(const MovieContents& movie);

} // namespace platform
