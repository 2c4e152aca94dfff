// SPDX-License-Identifier: MIT
#pragma once

#include "platform/movies/MovieContents.h"

#include <cstdint>
#include <vector>

namespace platform {

/// The box "moov" of a complete movie, which follows the media data. Tracks without samples are left out.
std::vector<uint8_t> MovieHeader(const MovieContents& movie);

/// An upper bound for the size of this movie's header. Cheap enough to be called for each sample.
int64_t MaxMovieHeaderSize(const MovieContents& movie);

} // namespace platform
