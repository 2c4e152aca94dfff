// SPDX-License-Identifier: MIT
#pragma once

#include "platform/movies/Movies.h"

#include <cstdint>
#include <optional>

namespace platform {

/// The buffer that the capture side is handing over. While an object of this class lives, `AddMediaSample` to media of
/// its type knows when the buffer's first sample was captured, so the movie can correct the remaining offset between
/// picture and sound. An `offset` into a sound buffer advances the time accordingly. Objects are created on the main
/// thread and may nest; the newest one of a type counts.
class CaptureInHand {
public:
    /// `captureTime`: in nanoseconds of the monotonic clock.
    CaptureInHand(FourCharCode mediaType, int64_t captureTime);
    ~CaptureInHand();
    CaptureInHand(const CaptureInHand&) = delete;
    CaptureInHand& operator=(const CaptureInHand&) = delete;

    /// The capture time of the current buffer, or none while no buffer of this type is being handed over.
    static std::optional<int64_t> TimeOf(FourCharCode mediaType);

    /// Records that samples of the buffer were added to media.
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
