// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace velmora {

/// The samples of a sound buffer that go into the movie.
struct SoundPart {
    int32_t samples = 0; ///< 0 or below: none
    int32_t offset = 0;  ///< of the first one in the buffer, in bytes
    int32_t bytes = 0;
};

/// Trims the first sound buffer of a recording from its front, so that it ends with the video written before it:
/// `video` units of `videoTimeScale` units a second. The buffer has `bytes` bytes, in samples of `bytesPerSample`
/// for each of `channels`, at `rate` samples a second. Nothing is clamped: where the video is longer than the buffer,
/// the part begins before the buffer.
SoundPart TrimFirstSoundBuffer(int32_t bytes, int16_t bytesPerSample, int16_t channels, int32_t rate, int32_t video,
                               int32_t videoTimeScale);

} // namespace velmora
