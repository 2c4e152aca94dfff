// SPDX-License-Identifier: MIT
#pragma once

#include "platform/movies/TrackReading.h"

#include <map>

namespace platform {

/// Appends the samples of a track's part of a fragment ("traf" in "moof", ISO/IEC 14496-12) to those already read.
/// `fragmentStart`: position of the fragment in the file.
void ReadTrackFragment(const MemoryBox& box, int64_t fragmentStart, std::map<uint32_t, TrackReading>& tracks,
                       MovieTables& movie);

} // namespace platform
