// SPDX-License-Identifier: MIT
#pragma once

#include "platform/movies/MovieStorage.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace platform {

/// Samples to be added to a track's media: `count` of them, all of the same size and duration.
struct MediaSamples {
    std::span<const uint8_t> bytes;
    std::span<const uint8_t> description; ///< the record, as for `AddMediaSample`
    int32_t count = 1;
    int32_t durationPerSample = 1; ///< units of the media's time scale
    bool sync = true;              ///< whether decoding may start here, as far as the caller knows

    /// When a captured buffer started (monotonic clock, nanoseconds), and how many of its bytes precede these samples.
    std::optional<int64_t> captureTime = {};
    int32_t bytesBefore = 0;
};

/// One track of a movie that is being written, and its media. The published calls refer to it by two numbers; the
/// grabber and the tape recorder use it directly. All calls for one movie must come from one thread.
class MovieTrack {
public:
    /// Adds a track to a movie. Null if the movie has the maximum number of tracks.
    static std::shared_ptr<MovieTrack> Add(std::shared_ptr<MovieStorage> movie, Fixed width, Fixed height,
                                           int16_t volume);

    /// Track `index` of a movie's contents. `Add` makes one.
    MovieTrack(std::shared_ptr<MovieStorage> movie, uint32_t index) : storage(std::move(movie)), index(index) {}

    /// Creates the track's media, as `NewTrackMedia`; returns false where that returns 0.
    bool MakeMedia(FourCharCode type, int32_t timeScale);

    /// Opens the media for samples. Returns `couldNotResolveDataRef` if the movie is closed.
    Result BeginEdits();
    /// Closes the media. `invalidMedia` unless edits were begun.
    Result EndEdits();

    /// Whether samples can be added: the edits are begun, and the file is open.
    bool IsOpen() const { return editing && storage->IsOpen(); }

    /// Why no samples can be added now, as a result code, or 0.
    Result WhyClosed() const;

    /// Adds samples. Their bytes are copied once, into the writer's buffer. Results as for `AddMediaSample`.
    Result AddSamples(const MediaSamples& samples);

    /// Sum of the durations added so far, at most 2^31 - 1.
    int32_t Duration() const;

    /// Inserts a piece of the media into the track, as `InsertMediaIntoTrack` at normal speed.
    Result Insert(int32_t trackStart, int32_t mediaTime, int32_t mediaDuration);

    /// Inserts the whole media into the track: at a time of the track, or at its end (-1).
    Result InsertAll(int32_t trackStart) { return Insert(trackStart, 0, Duration()); }

    /// The track in the movie's contents.
    TrackContents& Contents() const { return storage->Contents().tracks[index]; }
    /// The file of the movie.
    const std::shared_ptr<MovieStorage>& Storage() const { return storage; }

private:
    Result UseDescription(std::span<const uint8_t> record, std::span<const uint8_t> sample);
    void TakeRateOfFirstSound(const MediaSamples& samples);
    bool MayAddFrame(int64_t size, bool isKey);
    std::optional<int64_t> CaptureTimeOf(const MediaSamples& samples) const;

    std::shared_ptr<MovieStorage> storage;
    uint32_t index;
    bool editing = false;
    std::vector<uint8_t> lastRecord; ///< the last description, as passed by the caller
    uint32_t lastDescription = 0;    ///< its index in the track

    // For inter-frame codecs.
    bool needsKey = true;     ///< the frame on which the next one may depend is missing
    int64_t leftOutUnits = 0; ///< duration of the frames left out since then
};

} // namespace platform
