// SPDX-License-Identifier: MIT
#pragma once

#include "platform/grabber/SampleQueue.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <utility>

namespace platform {

/// The sound of one channel as a stream without gaps, cut into the pieces in which it is delivered. Silence replaces
/// sound whose format is not the channel's present one.
class SoundStream {
public:
    /// A piece of sound. Its bytes belong to the stream and are valid until the next piece is requested.
    struct Piece {
        Address data = 0;
        int32_t bytes = 0;
        int32_t frames = 0;
        int64_t captureTime = 0; ///< of the first frame
        SharedDescription description;
    };

    /// The maximum length of a piece of captured sound.
    static constexpr int64_t kMaxPiece = 10'000'000;

    /// Whether samples of that description are in the channel's present format.
    using IsPresent = std::function<bool(const SampleDescription&)>;

    /// Takes the samples of a channel from the queue, which must outlive the stream.
    SoundStream(SampleQueue& queue, int32_t channel, IsPresent isPresent)
        : queue(queue), channel(channel), isPresent(std::move(isPresent))
    {
    }

    /// Whether the stream has a position on the clock yet.
    bool HasBegun() const { return begun; }

    /// The capture time up to which sound was delivered.
    int64_t Position() const;

    /// The capture time up to which sound has arrived, as far as known.
    int64_t ArrivedUpTo() const;

    /// Whether less than one frame is missing up to a time.
    bool Reaches(int64_t time) const;

    /// Starts the stream at a time, or moves its end there.
    void MoveTo(int64_t time);

    /// Discards what was taken from the queue. The next sample is placed by its own time.
    void Interrupt() { interrupted = true; }

    /// Also forgets the stream's position on the clock.
    void Restart()
    {
        interrupted = true;
        begun = false;
    }

    /// The next piece that ends no later than `limit`, if such a piece has been captured. In a gap of the source it is
    /// silence of at most `longestSilence`.
    std::optional<Piece> Next(int64_t limit, int64_t longestSilence);

    /// A piece of silence up to `limit`, at most `longest`, in place of sound that has not arrived; nothing if `limit`
    /// is less than one frame away. `present` selects the format if no sound has arrived in it yet.
    std::optional<Piece> Silence(int64_t limit, int64_t longest, const SharedDescription& present);

private:
    int64_t FramesUntil(int64_t time) const;
    bool TakeSample();
    std::optional<Piece> FindPlace(int64_t limit, int64_t longestSilence);
    Piece Cut(int64_t frames);
    Piece MakeSilence(int64_t frames);
    void Rebase(const SharedDescription& next);

    SampleQueue& queue;
    int32_t channel; ///< number of the track queue
    IsPresent isPresent;

    // The end of the stream: `frames` sample frames after `base`, so that rounding errors do not add up.
    bool begun = false;
    int64_t base = 0;
    int64_t frames = 0;
    SharedDescription description;

    Sample current;
    int64_t offset = 0; ///< frames of `current` that were delivered
    bool placed = false;
    bool align = false;
    bool interrupted = false;

    SampleData silence;
    SharedDescription silenceDescription;
};

} // namespace platform
