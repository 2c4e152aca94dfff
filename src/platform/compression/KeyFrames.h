// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/FourCharCode.h"

#include <cstdint>
#include <span>

namespace platform {

/// Whether frames of a codec may depend on the frames before them.
bool IsInterFrame(FourCharCode codec);

/// Whether a decoder can start at this frame. Examines frames of "avc1" and "hvc1" (length-prefixed NAL units as in
/// ISO/IEC 14496-15, with lengths of four bytes); frames of all other codecs written by this platform are independent.
bool IsKeyFrame(FourCharCode codec, std::span<const uint8_t> frame);

/// Requests a key frame from each inter-frame compressor of the process for its next frame, and from cameras that
/// compress that way themselves. Call it when a movie starts and when a frame was lost that later ones depend on. Any
/// thread.
void RequestKeyFrame();

/// The number of requests so far. Compressors and cameras compare it with its value at their last key frame. Any
/// thread.
uint32_t KeyFrameRequests();

} // namespace platform
