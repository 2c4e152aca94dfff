// SPDX-License-Identifier: MIT
#pragma once

#include "platform/movies/MovieContents.h"
#include "platform/movies/RecoveryJournal.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace platform {

/// Rebuilds a movie from the boxes of its journal.
class JournalReplay {
public:
    /// Takes the next box. Samples of an unknown kind or outside of the media data before it are left out, and so is
    /// the rest of a box that contradicts itself.
    void Add(const JournalBox& box);

    /// The movie, with edits that show all of it. Where boxes are missing, the sample before the gap lasts until the
    /// one after it, so that picture and sound stay in sync.
    MovieContents TakeMovie();

    /// Size in bytes of the samples replayed so far.
    int64_t MediaBytes() const { return mediaBytes; }

private:
    struct TrackState {
        int64_t recordedTime = 0; // time of the next sample in the recording
        int64_t firstTime = 0;    // the value of `recordedTime` at the first sample
        std::optional<SampleRun> last;
        std::optional<int64_t> captureOffset; // of the recording's time 0
    };

    bool ReadTracks(ByteReader& bytes);
    bool ReadDescriptions(ByteReader& bytes, TrackContents& track);
    void AddRun(const SampleRun& run);
    void Join(TrackState& state, int64_t gap);

    MovieContents movie;
    std::vector<TrackState> states;
    int64_t dataEnd = 0; // end of the previous run's data; no later run may start before it
    int64_t mediaBytes = 0;
};

} // namespace platform
