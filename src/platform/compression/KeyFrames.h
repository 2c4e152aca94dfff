// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/FourCharCode.h"

#include <cstdint>
#include <span>

namespace platform {

/// Whether frames of a codec may depend on the frames before them.
bool IsInterFrame(FourCharCode codec);

/// Whether a decoder can begin with this frame. Looks into the frames of "avc1" and "hvc1" (length-prefixed NAL units
/// as in ISO/IEC 14496-15, with lengths of four bytes); frames of all other codecs that this platform writes stand by
/// themselves.
bool IsKeyFrame(FourCharCode codec, std::span<const uint8_t> frame);

/// Makes the next frame that each inter-frame compressor of the process begins with a key frame, and has cameras that
/// compress so themselves asked for one. A movie that begins
/// asks for one, and so does whoever lost a frame that later ones need. Any thread.
void RequestKeyFrame();

/// How many requests there have been. Compressors and cameras compare it with the count at the last one. Any thread.
uint32_t KeyFrameRequests();

} // namespace platform
