// SPDX-License-Identifier: MIT
#pragma once

#include "platform/movies/Movies.h"

#include <cstdint>
#include <optional>

namespace platform {

/// The buffer that the capture side is handing over: while an object of this class lives, `AddMediaSample` to media of
/// its type knows when the buffer's first sample was captured, and with that the movie can put right what is left
/// between picture and sound. An `offset` into a buffer of sound moves the time on accordingly. Objects are made on
/// the main thread and may nest; the newest one of a type counts.
class CaptureInHand {
public:
    /// `captureTime`: nanoseconds of the monotonic clock.
    CaptureInHand(FourCharCode mediaType, int64_t captureTime);
    ~CaptureInHand();
    CaptureInHand(const CaptureInHand&) = delete;
    CaptureInHand& operator=(const CaptureInHand&) = delete;

    /// The capture time of the buffer in hand, or none while no buffer of this type is being handed over.
    static std::optional<int64_t> TimeOf(FourCharCode mediaType);

    /// Notes that samples of the buffer in hand were added to media.
    static void NoteAdded(FourCharCode mediaType, Media media);

    /// The media that samples of this buffer were added to, or 0.
    Media AddedTo() const { return media; }

private:
    static CaptureInHand* Newest(FourCharCode mediaType);

    CaptureInHand* outer;
    FourCharCode mediaType;
    int64_t captureTime;
    Media media = 0;
};

} // namespace platform
