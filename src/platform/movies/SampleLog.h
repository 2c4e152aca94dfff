// SPDX-License-Identifier: MIT
#pragma once

#include "platform/movies/ByteWriter.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

namespace platform {

/// Samples that were added together and are contiguous in the file.
struct SampleRun {
    uint32_t track = 0;
    uint32_t description = 0; ///< index into the track's descriptions
    bool sync = true;
    int64_t count = 1;
    int64_t duration = 0; ///< of each sample, in the media's units
    int64_t position = 0; ///< in the file
    int64_t size = 0;     ///< total size in bytes

    bool operator==(const SampleRun&) const = default;
};

/// The run as one sample with its whole duration: used for frames of uncompressed sound when there are too many to
/// count each.
SampleRun RunAsOneSample(SampleRun run);

/// Maximum number of tracks in one movie.
inline constexpr size_t kMaximumTracks = 64;

/// Every run of a movie in file order, in about seven bytes each, so that hours of recording stay small.
///
/// A run is encoded as its track number with three flags, count, size and duration; then the description if it differs
/// from the track's last one, and the position if the run does not follow the previous one. The recovery journal stores
/// the same bytes on disk.
class SampleLog {
public:
    /// Adds a run. A run of several samples that continues the last one (same track, description, duration and sample
    /// size, next byte of the file) is merged with it, up to a size that readers handle in one read.
    void Add(const SampleRun& run);

    /// Calls `visit` for each run.
    void ForEach(const std::function<void(const SampleRun&)>& visit) const;

    /// Appends the bytes of all runs since the last call to `out`. They can be decoded on their own.
    void TakeNew(std::vector<uint8_t>& out);

    /// Whether runs were added since the last `TakeNew`.
    bool HasNew() const;

    /// Discards all samples.
    void Clear();

    /// Number of runs added; merged ones count once.
    int64_t Runs() const { return encodedRuns + (last ? 1 : 0); }

    /// Size of the encoded runs in bytes.
    size_t MemoryUsed() const;

private:
    void Encode(const SampleRun& run);

    std::vector<std::vector<uint8_t>> blocks; // never moved; no run crosses the end of a block
    std::optional<SampleRun> last;            // not encoded yet, since it may grow
    int64_t encodedRuns = 0;
    ByteWriter encoded;
    int64_t expectedPosition = -1;
    std::vector<int64_t> lastDescriptions;
    size_t takenBlock = 0; // start of the bytes that `TakeNew` returns next
    size_t takenByte = 0;
};

/// Decodes the bytes of a log.
class SampleLogDecoder {
public:
    /// Reads the next run. Returns false if the bytes are damaged.
    bool Decode(ByteReader& bytes, SampleRun& run);

private:
    int64_t expectedPosition = -1;
    std::vector<int64_t> lastDescriptions;
};

} // namespace platform
