// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/ResultCodes.h"
#include "platform/movies/MovieContents.h"

#include <cstdint>
#include <span>
#include <vector>

namespace platform {

/// Converts an image or sound description from host byte order to the form stored in files. An image description gets
/// what players need to show its pictures with the right aspect ratio and colours, unless it has that already: "pasp",
/// and if known "colr" and "fiel". `sample` is a frame, because each DV frame says itself whether it is widescreen.
/// Returns `badImageDescription` for a record that is truncated, contradicts itself or has an unknown version.
Result FileFormOfDescription(FourCharCode mediaType, std::span<const uint8_t> record, std::span<const uint8_t> sample,
                             std::vector<uint8_t>& fileForm);

/// Whether the aspect ratio of this format (description in host byte order) is stored in each frame.
bool ShapeDependsOnSample(FourCharCode mediaType, std::span<const uint8_t> record);

/// The codec or sound format of a stored description, 0 if it is truncated.
FourCharCode FormatOf(std::span<const uint8_t> fileForm);

/// Size in bytes of one frame (a sample of every channel) of uncompressed sound, from a stored description; 0 for other
/// formats.
int64_t BytesPerSoundFrame(std::span<const uint8_t> fileForm);

/// Sample rate in hertz, rounded, from a stored sound description; 0 if it is truncated.
int32_t SampleRateOf(std::span<const uint8_t> fileForm);

/// The size at which pictures of a track are shown: that of its frames, scaled horizontally by their pixel aspect
/// ratio. The size that the track was created with if that is unknown.
struct ShownSize {
    Fixed width = 0;
    Fixed height = 0;
};
/// The display size of a track.
ShownSize ShownSizeOf(const TrackContents& track);

/// A description for samples whose own one is lost.
std::vector<uint8_t> UnknownDescription(const TrackContents& track);

} // namespace platform
