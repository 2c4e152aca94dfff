// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/ResultCodes.h"
#include "platform/movies/MovieTables.h"

#include <algorithm>
#include <string>
#include <vector>

namespace platform {

/// What a check of a movie file found.
struct CheckedMovie {
    std::vector<std::string> faults; ///< of the file, a line each; those of a track are with the track
    std::vector<TrackTables> tracks;
    bool isCutOff = false; ///< a recording of this system that recovery can finish

    /// Whether no fault was found.
    bool IsWhole() const
    {
        return faults.empty() && std::ranges::all_of(tracks, [](const auto& track) { return track.faults.empty(); });
    }
};

/// Checks whether a QuickTime or MP4 file of any program is whole: its boxes follow one another up to its end, each
/// sample lies inside of its media data, the tables agree with one another, and times rise. Of a recording of this
/// system the journal is checked as well: no box of it is missing or damaged, and it tells the same samples as the
/// header. What is inside the samples is not looked at. Changes nothing.
/// `fnfErr` and the like for a file that can't be read, `invalidMovie` for one that is no movie, `fBsyErr` for one that
/// is being recorded.
Result CheckMovie(const std::string& path, CheckedMovie& found);

} // namespace platform
