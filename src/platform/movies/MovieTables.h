// SPDX-License-Identifier: MIT
#pragma once

#include "platform/movies/MovieFile.h"

#include <cstdint>
#include <string>
#include <vector>

namespace platform {

/// Contiguous samples in the file: a chunk of a track, or a run of a fragment.
struct SampleRange {
    uint64_t firstSample = 0; ///< from 1
    uint64_t samples = 0;
    uint32_t description = 0; ///< from 1
    int64_t position = 0;
    int64_t size = 0;
};

/// The content of a movie file for one track, from its header and its fragments.
struct TrackTables {
    uint32_t number = 0;
    FourCharCode mediaType = 0; ///< "vide", "soun", ...
    uint32_t timeScale = 0;
    uint64_t headerDuration = 0; ///< of the media, according to its header
    std::vector<FourCharCode> descriptions;
    std::vector<SampleRange> ranges; ///< in the order of the tables
    std::vector<uint32_t> syncSamples;
    bool hasSyncTable = false;
    uint64_t samples = 0;
    uint64_t duration = 0;           ///< sum of the samples' durations
    uint64_t headerSamples = 0;      ///< of those in the header
    uint64_t headerTableTime = 0;    ///< sum of the durations in the header
    std::vector<std::string> faults; ///< contradictions in its tables, one per line

    /// Duration of the media; 0 if its time scale is damaged.
    double Seconds() const { return timeScale == 0 ? 0 : static_cast<double>(duration) / timeScale; }
};

/// All tracks of a movie file.
struct MovieTables {
    std::vector<FileBox> boxes; ///< top-level
    std::vector<TrackTables> tracks;
    bool hasHeader = false;
    bool isFragmented = false;
    std::vector<std::string> faults; ///< of the file, not of a single track
};

/// Reads the tables of a movie. Damage is reported in the faults, and everything else is read as far as possible.
MovieTables ReadMovieTables(const MovieFile& file);

} // namespace platform
