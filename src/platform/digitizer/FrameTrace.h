// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <span>

namespace platform {

// Tests that watch single frames have to tell where a missing one was last seen. With VELMORA_FRAME_TRACE set to a
// file's name, each frame leaves a line there at each station; without it these calls do nothing. Any thread may call.
// Times are nanoseconds of the monotonic clock.

/// A number by which a frame is known again by its bytes.
uint64_t FingerprintOf(std::span<const uint8_t> bytes);

/// The device has delivered a frame: "arrived NOW CAPTURE-TIME FINGERPRINT".
void TraceArrival(int64_t captureTime, std::span<const uint8_t> bytes);

/// What became of a frame that was handed over.
enum class HandOver {
    Shown,   ///< it was drawn where windows show it
    Skipped, ///< its picture was left out, because a newer frame waited or it was not decoded in time
    NotDrawn ///< it was to be shown, and nobody drew it
};

/// The main thread has handed a frame over: "shown NOW CAPTURE-TIME", "skipped ..." or "undrawn ...".
void TraceHandOver(int64_t captureTime, HandOver outcome);

} // namespace platform
