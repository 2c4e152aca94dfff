// SPDX-License-Identifier: MIT
#pragma once

#include "platform/movies/MovieTrack.h"

#include <memory>
#include <string>
#include <vector>

namespace platform {

/// Writes a movie file for callers in C++: creates it, adds tracks, and completes it. A builder that is destroyed
/// before `Finish` closes the file, which then stays recoverable.
class MovieBuilder {
public:
    ~MovieBuilder();
    MovieBuilder() = default;
    MovieBuilder(const MovieBuilder&) = delete;
    MovieBuilder& operator=(const MovieBuilder&) = delete;

    /// Creates the file at an absolute path, replacing an existing one. Results as for `CreateMovieStorage`.
    Result Create(const std::string& path);

    /// Adds a track and opens its media for samples: "vide", "soun" or "tmcd" with `timeScale` units per second, a
    /// display size in pixels and a volume (256 is full). `track` is null after a failure.
    Result AddTrack(std::shared_ptr<MovieTrack>& track, FourCharCode type, int32_t timeScale, int32_t width,
                    int32_t height, int16_t volume);

    /// Sets when the pictures were recorded, as ISO 8601 text.
    void SetRecordingDate(const std::string& date) { storage->Contents().recordingDate = date; }

    /// Stores the first failure that is passed here. Returns its argument.
    Result Keep(Result result);

    /// The first failure so far, or 0.
    Result Failure() const { return firstFailure; }

    /// Ends the edits of all tracks, writes the header and closes the file. Returns the first failure.
    Result Finish();

    /// The status of the file. Returns false when it is closed.
    bool GetStatus(MovieStorageStatus& status) const;

private:
    std::shared_ptr<MovieStorage> storage;
    std::vector<std::shared_ptr<MovieTrack>> tracks;
    Result firstFailure = noErr;
};

} // namespace platform
