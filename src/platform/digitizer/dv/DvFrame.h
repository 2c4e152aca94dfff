// SPDX-License-Identifier: MIT
#pragma once

#include "platform/sound/SoundSource.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace platform {

/// The properties of a DV frame (IEC 61834, SMPTE 314M, 25 Mbit/s).
struct DvFrameInfo {
    bool isPal = false; ///< 625 lines and 25 frames per second; otherwise 525 lines and 29.97
    int32_t width = 720;
    int32_t height = 480;
    double frameRate = 30000.0 / 1001.0;
};

/// Size of a whole frame of each system in bytes.
inline constexpr size_t kDvNtscFrameSize = 120'000;
inline constexpr size_t kDvPalFrameSize = 144'000;

/// Reads the frame's header. Nothing if the data is not a whole DV frame of its own system's size.
std::optional<DvFrameInfo> ReadDvFrame(std::span<const uint8_t> frame);

/// Sound of one frame: 16 bits, two channels, host byte order.
struct DvSound {
    double sampleRate = 48'000;
    std::vector<int16_t> samples; ///< interleaved
};

/// Extracts the first pair of sound channels from a frame. Returns false, with silence in `sound`, for a frame without
/// sound. `sound.samples` is reused from frame to frame. Samples that were lost, on the tape or on the bus, are
/// interpolated between their neighbours, the first ones from what `sound` contained before.
bool ExtractDvSound(std::span<const uint8_t> frame, DvSound& sound);

} // namespace platform
