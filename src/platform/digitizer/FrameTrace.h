// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <span>

namespace platform {

// Tests that watch single frames must report where a missing one was last seen. If VELMORA_FRAME_TRACE is set to a file
// name, each frame writes a line to that file at each stage; otherwise these calls do nothing. Any thread may call
// them. Times are nanoseconds of the monotonic clock.

/// A number that identifies a frame by its bytes.
uint64_t FingerprintOf(std::span<const uint8_t> bytes);

/// The device has delivered a frame: "arrived NOW CAPTURE-TIME FINGERPRINT".
void TraceArrival(int64_t captureTime, std::span<const uint8_t> bytes);

/// What happened to the picture of a delivered frame.
enum class HandOver {
    Shown,   ///< it was drawn on the screen
    Skipped, ///< it was left out, because a newer frame was waiting or it was not decoded in time
    NotDrawn ///< it should have been shown, but was not drawn
};

/// The main thread has delivered a frame: "shown NOW CAPTURE-TIME", "skipped ..." or "undrawn ...".
void TraceHandOver(int64_t captureTime, HandOver outcome);

} // namespace platform
