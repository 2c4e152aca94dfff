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

/// The main thread hands a frame over, to be shown or only written: "shown NOW CAPTURE-TIME" or "skipped ...".
void TraceHandOver(int64_t captureTime, bool shown);

} // namespace platform
