// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/ResultCodes.h"
#include "platform/movies/MovieTables.h"

#include <algorithm>
#include <string>
#include <vector>

namespace platform {

/// The result of checking a movie file.
struct CheckedMovie {
    std::vector<std::string> faults; ///< of the file, one per line; those of a track are in the track
    std::vector<TrackTables> tracks;
    bool isCutOff = false; ///< an interrupted recording of this system, which recovery can finish

    /// Whether no fault was found.
    bool IsWhole() const
    {
        return faults.empty() && std::ranges::all_of(tracks, [](const auto& track) { return track.faults.empty(); });
    }
};

/// Checks whether a QuickTime or MP4 file of any program is whole: its boxes follow one another up to its end, each
/// sample is inside the media data, the tables agree with one another, and times increase. For a recording of this
/// system it also checks that no box of the journal is missing or damaged and that the journal lists the same samples
/// as the header. The samples themselves are not decoded. Changes nothing.
/// Returns `fnfErr` and the like for a file that can't be read, `invalidMovie` for a file that is not a movie,
/// `fBsyErr` for a movie that is being recorded.
Result CheckMovie(const std::string& path, CheckedMovie& found);

} // namespace platform
