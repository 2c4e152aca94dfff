// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/FixedPoint.h"
#include "platform/memory/FourCharCode.h"
#include "platform/movies/SampleLog.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace platform {

/// Units per second of a movie's own time, in which the calls measure edits and tracks.
inline constexpr int32_t kMovieTimeScale = 600;

/// Units per second of these times in the file: fine enough to align picture and sound to a tenth of a millisecond.
inline constexpr int32_t kFileTimeScale = 20 * kMovieTimeScale;

/// The longest duration of media, and of any sum of durations: times of the movie and of any media can then be
/// converted into one another in 64 bits.
inline constexpr int64_t kMaxMediaDuration = int64_t{1} << 53;

inline constexpr FourCharCode kTimecodeMediaType = CodeOf("tmcd");

/// A piece of a track: its duration in movie time, showing the media from `mediaTime` on, or nothing (-1).
struct Edit {
    int64_t duration = 0;
    int64_t mediaTime = 0;

    bool operator==(const Edit&) const = default;
};

struct TrackContents {
    Fixed width = 0;
    Fixed height = 0;
    int16_t volume = 0;
    FourCharCode mediaType = 0; ///< 0: the track has no media yet
    int32_t timeScale = 0;
    std::vector<std::vector<uint8_t>> descriptions; ///< as stored in the file
    std::vector<Edit> edits;
    int64_t duration = 0; ///< of the media, in its own units
    int64_t samples = 0;
    std::optional<int64_t> captureOffset; ///< when the media's time 0 was captured (monotonic clock, nanoseconds)
};

/// Everything that a movie's header is built from.
struct MovieContents {
    uint64_t creationTime = 0; ///< seconds since 1904, as in movie files
    FourCharCode creator = 0;
    std::string recordingDate; ///< ISO 8601; empty if not known
    std::vector<TrackContents> tracks;
    SampleLog samples;
};

/// The present time as movie files store it.
uint64_t PresentMovieTime();

/// Converts a media time to the movie's units, rounded up, so that an edit never cuts off the last sample.
int64_t MovieTimeOf(int64_t mediaTime, int32_t timeScale);

/// Inserts a piece of media into a list of edits at the movie time `at`; what was there moves back. If `at` is beyond
/// the list's end, the track shows nothing up to there.
void InsertEdit(std::vector<Edit>& edits, int64_t at, const Edit& piece, int32_t timeScale);

/// Duration of a list of edits.
int64_t DurationOf(const std::vector<Edit>& edits);

} // namespace platform
