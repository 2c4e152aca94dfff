// SPDX-License-Identifier: MIT
#pragma once

#include "platform/movies/MovieTables.h"

#include <cstdint>
#include <span>
#include <vector>

namespace platform {

// Shared by the readers of a movie's header and of its fragments.

/// A box in memory.
struct MemoryBox {
    FourCharCode type = 0;
    std::span<const uint8_t> content;
};

/// The boxes within `bytes`. `whole` is false if the last one is truncated.
std::vector<MemoryBox> BoxesIn(std::span<const uint8_t> bytes, bool& whole);

/// Defaults of a track's fragments ("trex").
struct FragmentDefaults {
    uint32_t description = 0;
    uint32_t duration = 0;
    uint32_t size = 0;
};

/// Consecutive chunks with the same number of samples ("stsc").
struct ChunkGroup {
    uint32_t firstChunk = 0;
    uint32_t samples = 0;
    uint32_t description = 0;
};

/// One track while it is being read.
struct TrackReading {
    TrackTables tables;
    uint64_t timedSamples = 0; ///< according to the table of durations
    uint64_t offsetSamples = 0;
    bool hasOffsets = false;
    bool hasSizes = false;
    uint32_t sampleSize = 0;
    std::vector<uint32_t> sizes;
    std::vector<ChunkGroup> groups;
    std::vector<uint64_t> chunks;
    uint32_t soundFrameBytes = 0; ///< of uncompressed sound whose table counts each byte as a sample
    FragmentDefaults defaults;
    uint64_t nextFragmentTime = 0;
};

} // namespace platform
