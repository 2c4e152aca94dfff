// SPDX-License-Identifier: MIT
#pragma once

#include "platform/movies/ByteWriter.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

namespace platform {

/// Samples that were added in one go and lie behind one another in the file.
struct SampleRun {
    uint32_t track = 0;
    uint32_t description = 0; ///< index into the track's descriptions
    bool sync = true;
    int64_t count = 1;
    int64_t duration = 0; ///< of each sample, in the media's units
    int64_t position = 0; ///< in the file
    int64_t size = 0;     ///< in bytes, of all samples together

    bool operator==(const SampleRun&) const = default;
};

/// The run as one sample, which lasts as long as all of it: how frames of uncompressed sound are counted where there
/// are too many to be counted one by one.
SampleRun RunAsOneSample(SampleRun run);

/// Tracks that one movie can have.
inline constexpr size_t kMaximumTracks = 64;

/// Every run of a movie in the order of the file, in some seven bytes each, so that hours of recording stay small.
///
/// A run is kept as: its track and three marks in one number, count, size and duration; then the description where it
/// differs from the track's last one, and the position where the run doesn't follow the one before. The same bytes
/// are what the recovery journal keeps on disk.
class SampleLog {
public:
    /// Adds a run. A run of several samples that continues the last one (same track, description, duration and
    /// sample size, next byte of the file) is merged with it, up to a size that a reader takes in one gulp.
    void Add(const SampleRun& run);

    /// Calls `visit` for each run.
    void ForEach(const std::function<void(const SampleRun&)>& visit) const;

    /// Appends the bytes of all runs since the last call to `out`. They can be decoded by themselves.
    void TakeNew(std::vector<uint8_t>& out);

    /// True when runs were added since the last `TakeNew`.
    bool HasNew() const;

    /// Forgets all samples.
    void Clear();

    /// Runs that were added, merged ones counted once.
    int64_t Runs() const { return encodedRuns + (last ? 1 : 0); }

    /// Bytes that the runs take.
    size_t MemoryUsed() const;

private:
    void Encode(const SampleRun& run);

    std::vector<std::vector<uint8_t>> blocks; // none is ever moved, and no run crosses the end of one
    std::optional<SampleRun> last;            // not encoded yet, as it may grow
    int64_t encodedRuns = 0;
    ByteWriter encoded;
    int64_t expectedPosition = -1;
    std::vector<int64_t> lastDescriptions;
    size_t takenBlock = 0; // where the bytes begin that `TakeNew` gives next
    size_t takenByte = 0;
};

/// Reads the bytes of a log.
class SampleLogDecoder {
public:
    /// Reads the next run. False where the bytes are damaged.
    bool Decode(ByteReader& bytes, SampleRun& run);

private:
    int64_t expectedPosition = -1;
    std::vector<int64_t> lastDescriptions;
};

} // namespace platform
