// SPDX-License-Identifier: MIT
#pragma once

#include "platform/movies/ByteWriter.h"
#include "platform/movies/MovieContents.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace platform {

/// The content of a "trak" box besides its sample tables.
struct TrackBox {
    const MovieContents& movie;
    size_t index;
    int64_t mediaDuration;   ///< in the media's units
    std::vector<Edit> edits; ///< durations in units of `kFileTimeScale`
};

/// Writes the boxes that follow "stsd" in "stbl".
using TablesWriter = std::function<void(ByteWriter&)>;

/// Writes version and flags, the first four bytes of most boxes.
void PutVersionAndFlags(ByteWriter& out, uint8_t version, uint32_t flags);

/// Writes a time or position: 64 bits in version 1, otherwise 32.
void PutTime(ByteWriter& out, uint8_t version, uint64_t time);

/// "mvhd": the movie's time scale and duration, in units of `kFileTimeScale`.
void PutMovieHead(ByteWriter& out, const MovieContents& movie, int64_t duration);

/// "trak": one track, number `index` + 1.
void PutTrack(ByteWriter& out, const TrackBox& track, const TablesWriter& putTables);

/// "udta": user data: the creator code of the program as "cre8", and the recording date.
void PutUserData(ByteWriter& out, const MovieContents& movie);

} // namespace platform
