#pragma once

#include "platform/movies/MovieContents.h"

#include <cstdint>
#include <vector>

namespace platform {

/// Length of what stands before the media data: boxes "ftyp" and the head of "mdat".
inline constexpr int64_t kFileHeadSize = 36;

/// The head of the file. `mediaDataEnd` is where the media data ends, or 0 while that is not known: the box then says
/// no length, and no reader takes the file for a complete movie.
std::vector<uint8_t> FileHead(int64_t mediaDataEnd);

/// Where the media data of a file that begins with `head` ends; 0 for a recording that is not complete, and for a
/// file of another kind.
int64_t MediaDataEndOf(std::span<const uint8_t> head);

/// The box "moov", which stands behind the media data.
std::vector<uint8_t> MovieHeader(const MovieContents& movie);

} // namespace platform
