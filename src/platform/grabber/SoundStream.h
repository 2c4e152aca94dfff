// SPDX-License-Identifier: MIT
#pragma once

#include "platform/grabber/SampleQueue.h"

#include <cstdint>
#include <optional>

namespace platform {

/// The sound of one channel as a line without holes, cut into the pieces in which it is handed over.
class SoundStream {
public:
    /// A piece of sound. Its bytes belong to the stream and stay until the next piece is asked for.
    struct Piece {
        Address data = 0;
        int32_t bytes = 0;
        int32_t frames = 0;
        int64_t captureTime = 0; ///< of the first frame
        SharedDescription description;
    };

    /// The longest piece of captured sound.
    static constexpr int64_t kLongestPiece = 10'000'000;

    /// Takes the samples of a channel from the queue, which outlives the stream.
    SoundStream(SampleQueue& queue, int32_t channel) : queue(queue), channel(channel) {}

    /// Whether the line has a place on the clock yet.
    bool HasBegun() const { return begun; }

    /// The capture time up to which sound has been handed over.
    int64_t Position() const;

    /// The capture time up to which sound has come, as far as is known.
    int64_t ArrivedUpTo() const;

    /// Whether less than one frame is missing up to a time.
    bool Reaches(int64_t time) const;

    /// Begins the line at a time, or moves its end there.
    void MoveTo(int64_t time);

    /// Forgets what has been taken from the queue. What comes next finds its place by its own time.
    void Interrupt() { interrupted = true; }

    /// Forgets that too, and the line's place on the clock.
    void Restart()
    {
        interrupted = true;
        begun = false;
    }

    /// The next piece that ends no later than `limit`, if such a piece has been captured. Where the source left a hole
    /// it is silence, no longer than `longestSilence`.
    std::optional<Piece> Next(int64_t limit, int64_t longestSilence);

    /// A piece of silence up to `limit`, no longer than `longest`, in place of sound that hasn't come; nothing when
    /// `limit` is less than one frame away. `description` tells what kind of silence, if none came before.
    std::optional<Piece> Silence(int64_t limit, int64_t longest, const SharedDescription& description);

private:
    int64_t FramesUntil(int64_t time) const;
    bool TakeSample();
    std::optional<Piece> FindPlace(int64_t limit, int64_t longestSilence);
    Piece Cut(int64_t frames);
    Piece MakeSilence(int64_t frames);
    void Rebase(const SharedDescription& next);

    SampleQueue& queue;
    int32_t channel; ///< number of the track queue

    // The end of the line: `frames` sample frames after `base`, so that no rounding adds up.
    bool begun = false;
    int64_t base = 0;
    int64_t frames = 0;
    SharedDescription description;

    Sample current;
    int64_t offset = 0; ///< frames of `current` that are done with
    bool placed = false;
    bool align = false;
    bool interrupted = false;

    SampleData silence;
    SharedDescription silenceDescription;
};

} // namespace platform
