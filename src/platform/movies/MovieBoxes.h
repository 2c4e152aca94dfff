// SPDX-License-Identifier: MIT
#pragma once

#include "platform/movies/ByteWriter.h"
#include "platform/movies/MovieContents.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace platform {

/// What a box "trak" holds besides its sample tables.
struct TrackBox {
    const MovieContents& movie;
    size_t index;
    int64_t mediaDuration;   ///< in the media's units
    std::vector<Edit> edits; ///< durations in units of `kFileTimeScale`
};

/// Writes the boxes of "stbl" behind "stsd".
using TablesWriter = std::function<void(ByteWriter&)>;

/// The first four bytes of most boxes.
void PutVersionAndFlags(ByteWriter& out, uint8_t version, uint32_t flags);

/// A time or position: 64 bits in version 1, else 32.
void PutTime(ByteWriter& out, uint8_t version, uint64_t time);

/// "mvhd": the movie's clock and length, in units of `kFileTimeScale`.
void PutMovieHead(ByteWriter& out, const MovieContents& movie, int64_t duration);

/// "trak": one track, number `index` + 1.
void PutTrack(ByteWriter& out, const TrackBox& track, const TablesWriter& putTables);

/// "udta": what else is to be known: the code of the program that made the movie, as "cre8".
void PutUserData(ByteWriter& out, const MovieContents& movie);

} // namespace platform
