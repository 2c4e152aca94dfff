#pragma once

#include "platform/memory/ResultCodes.h"
#include "platform/movies/MovieContents.h"

#include <cstdint>
#include <span>
#include <vector>

namespace platform {

/// Turns an image or sound description from host byte order into the form that files hold. `badImageDescription`
/// for a record that is cut short, contradicts itself or belongs to no known version.
Result FileFormOfDescription(FourCharCode mediaType, std::span<const uint8_t> record, std::vector<uint8_t>& fileForm);

/// Bytes of one frame (a sample of every channel) of uncompressed sound, from a description's file form; 0 for other
/// formats.
int64_t BytesPerSoundFrame(std::span<const uint8_t> fileForm);

/// A description for a track into which no sample came: players that look for one in every track stay content.
std::vector<uint8_t> DescriptionOfEmptyTrack(const TrackContents& track);

} // namespace platform
