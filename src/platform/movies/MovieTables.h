// SPDX-License-Identifier: MIT
#pragma once

#include "platform/files/UniqueFD.h"
#include "platform/memory/FourCharCode.h"
#include "platform/memory/ResultCodes.h"

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace platform {

/// A box of a movie file (ISO/IEC 14496-12, and QuickTime's atoms alike).
struct FileBox {
    FourCharCode type = 0;
    int64_t start = 0;
    int64_t content = 0; ///< where its content begins
    int64_t end = 0;
};

/// The bytes of a movie file of any program, read only. Every access is checked against its size.
class MovieFile {
public:
    /// `fnfErr` for no such file, `permErr` for one that may not be read, `invalidMovie` for one that is no regular
    /// file.
    Result Open(const std::string& path);

    int64_t Size() const { return size; }

    /// Reads as many bytes as the file has there, and tells how many.
    size_t Read(int64_t position, std::span<uint8_t> bytes) const;

    /// The boxes that follow one another from `start` to `end`. One that reaches beyond `end` is the last one, and
    /// keeps its length; so is one whose length is none.
    std::vector<FileBox> Boxes(int64_t start, int64_t end) const;

private:
    UniqueFD descriptor;
    int64_t size = 0;
};

/// Samples that lie behind one another in the file: a chunk of a track, or a run of a fragment.
struct SampleRange {
    uint64_t firstSample = 0; ///< from 1 on
    uint64_t samples = 0;
    uint32_t description = 0; ///< from 1 on
    int64_t position = 0;
    int64_t size = 0;
};

/// What a movie file says about one track, in its header and in its fragments.
struct TrackTables {
    uint32_t number = 0;
    FourCharCode mediaType = 0; ///< "vide", "soun", ...
    uint32_t timeScale = 0;
    uint64_t headerDuration = 0; ///< of the media, as its header has it
    std::vector<FourCharCode> descriptions;
    std::vector<SampleRange> ranges; ///< in the order of the tables
    std::vector<uint32_t> syncSamples;
    bool hasSyncTable = false;
    uint64_t samples = 0;
    uint64_t duration = 0;           ///< sum of the samples' durations
    uint64_t headerSamples = 0;      ///< of those in the header
    uint64_t headerTableTime = 0;    ///< sum of the durations in the header
    std::vector<std::string> faults; ///< what of its tables contradicts itself, a line each

    double Seconds() const { return timeScale == 0 ? 0 : static_cast<double>(duration) / timeScale; }
};

/// All tracks of a movie file.
struct MovieTables {
    std::vector<FileBox> boxes; ///< of the file itself
    std::vector<TrackTables> tracks;
    bool hasHeader = false;
    bool isFragmented = false;
    std::vector<std::string> faults; ///< of the file, not of one track
};

/// Reads the tables of a movie. What is damaged is told in the faults, and the rest is read as far as that is possible.
MovieTables ReadMovieTables(const MovieFile& file);

} // namespace platform
