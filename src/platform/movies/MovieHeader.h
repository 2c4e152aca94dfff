// SPDX-License-Identifier: MIT
#pragma once

#include "platform/movies/MovieContents.h"

#include <cstdint>
#include <vector>

namespace platform {

/// The box "moov" of a complete movie, which follows the media data. Tracks without samples are left out.
std::vector<uint8_t> MovieHeader(const MovieContents& movie);

/// No header of this movie takes more bytes. Cheap enough to be asked for with each sample.
int64_t MovieHeaderRoom(const MovieContents& movie);

} // namespace platform
