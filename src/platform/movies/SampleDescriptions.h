// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/ResultCodes.h"
#include "platform/movies/MovieContents.h"

#include <cstdint>
#include <span>
#include <vector>

namespace platform {

/// Turns an image or sound description from host byte order into the form that files hold. An image description gets
/// what players need to show its pictures in the right shape and colours, unless it has that already: "pasp", and
/// where they are known "colr" and "fiel". A frame of DV says itself whether it is a wide one, so `sample` is looked
/// at. `badImageDescription` for a record that is cut short, contradicts itself or belongs to no known version.
Result FileFormOfDescription(FourCharCode mediaType, std::span<const uint8_t> record, std::span<const uint8_t> sample,
                             std::vector<uint8_t>& fileForm);

/// True for pictures of this description's format (in host byte order) whose shape is said by each frame.
bool ShapeDependsOnSample(FourCharCode mediaType, std::span<const uint8_t> record);

/// The codec or sound format of a description's file form, 0 for one that is cut short.
FourCharCode FormatOf(std::span<const uint8_t> fileForm);

/// Bytes of one frame (a sample of every channel) of uncompressed sound, from a description's file form; 0 for other
/// formats.
int64_t BytesPerSoundFrame(std::span<const uint8_t> fileForm);

/// The size at which pictures of a track are shown: that of its frames, made wider or narrower by their pixel aspect.
/// The size that the track was made with where that is unknown.
struct ShownSize {
    Fixed width = 0;
    Fixed height = 0;
};
/// The display size of a track.
ShownSize ShownSizeOf(const TrackContents& track);

/// A description for samples whose own one is lost.
std::vector<uint8_t> UnknownDescription(const TrackContents& track);

} // namespace platform
