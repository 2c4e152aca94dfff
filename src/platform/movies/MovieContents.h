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

/// Units a second of a movie's own time, in which the calls measure edits and tracks.
inline constexpr int32_t kMovieTimeScale = 600;

/// Units a second in which the file has them: fine enough to put picture and sound right to a tenth of a millisecond.
inline constexpr int32_t kFileTimeScale = 20 * kMovieTimeScale;

/// No media, and no sum of durations, is longer than this: times of the movie and of any media can then be converted
/// into one another in 64 bits.
inline constexpr int64_t kLongestMedia = int64_t{1} << 53;

inline constexpr FourCharCode kTimecodeMediaType = CodeOf("tmcd");

/// A piece of a track: so many units of movie time, showing the media from `mediaTime` on, or nothing (-1).
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
    std::vector<std::vector<uint8_t>> descriptions; ///< as they stand in the file
    std::vector<Edit> edits;
    int64_t duration = 0; ///< of the media, in its own units
    int64_t samples = 0;
    std::optional<int64_t> captureOffset; ///< when the media's time 0 was captured (monotonic clock, nanoseconds)
};

/// All that a movie's header is made of.
struct MovieContents {
    uint64_t creationTime = 0; ///< seconds since 1904, as movie files count
    FourCharCode creator = 0;
    std::string recordingDate; ///< ISO 8601; empty where it is not known
    std::vector<TrackContents> tracks;
    SampleLog samples;
};

/// The present time as movie files count it.
uint64_t PresentMovieTime();

/// A media time in the movie's units, rounded up, so that a piece of a track never cuts the last sample off.
int64_t MovieTimeOf(int64_t mediaTime, int32_t timeScale);

/// Puts a piece of media into a list of edits at the movie time `at`; what lay there moves on. Behind the list's end
/// the track first shows nothing up to there.
void InsertEdit(std::vector<Edit>& edits, int64_t at, const Edit& piece, int32_t timeScale);

/// Length of a list of edits.
int64_t DurationOf(const std::vector<Edit>& edits);

} // namespace platform
