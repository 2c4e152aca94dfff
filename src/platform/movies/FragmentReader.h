// SPDX-License-Identifier: MIT
#pragma once

#include "platform/movies/TrackReading.h"

#include <map>

namespace platform {

/// Adds the samples of a track's part of a fragment ("traf" in "moof", ISO/IEC 14496-12) behind those already read.
/// `fragmentStart`: where the fragment begins in the file.
void ReadTrackFragment(const MemoryBox& box, int64_t fragmentStart, std::map<uint32_t, TrackReading>& tracks,
                       MovieTables& movie);

} // namespace platform
