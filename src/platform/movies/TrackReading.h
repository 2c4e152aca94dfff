// SPDX-License-Identifier: MIT
#pragma once

#include "platform/movies/MovieTables.h"

#include <cstdint>
#include <span>
#include <vector>

namespace platform {

// What the readers of a movie's header and of its fragments share.

/// A box in memory.
struct MemoryBox {
    FourCharCode type = 0;
    std::span<const uint8_t> content;
};

/// The boxes within `bytes`. `whole` is false where the last one is cut short.
std::vector<MemoryBox> BoxesIn(std::span<const uint8_t> bytes, bool& whole);

/// Defaults of a track's fragments ("trex").
struct FragmentDefaults {
    uint32_t description = 0;
    uint32_t duration = 0;
    uint32_t size = 0;
};

/// Chunks with equally many samples, from one on ("stsc").
struct ChunkGroup {
    uint32_t firstChunk = 0;
    uint32_t samples = 0;
    uint32_t description = 0;
};

/// One track while it is read.
struct TrackReading {
    TrackTables tables;
    uint64_t timedSamples = 0; ///< by the table of durations
    uint64_t offsetSamples = 0;
    bool hasOffsets = false;
    bool hasSizes = false;
    uint32_t sampleSize = 0;
    std::vector<uint32_t> sizes;
    std::vector<ChunkGroup> groups;
    std::vector<uint64_t> chunks;
    uint32_t soundFrameBytes = 0; ///< of uncompressed sound whose table counts frames of one byte
    FragmentDefaults defaults;
    uint64_t nextFragmentTime = 0;
};

} // namespace platform
