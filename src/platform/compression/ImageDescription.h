// SPDX-License-Identifier: MIT
#pragma once

#include "platform/drawing/GraphicsWorlds.h"
#include "platform/memory/Handles.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace platform {

/// The content of an image description. The record is that of the QuickTime file format's video sample description
/// ("stsd" entry) in host byte order: size at 0 (32 bits), codec at 4, data reference index at 14, vendor at 20,
/// temporal quality at 24, spatial quality at 28, width at 32 (16 bits), height at 34, horizontal and vertical
/// resolution at 36 and 40 (`Fixed`), data size at 44, frame count at 48 (16 bits), codec name at 50 (Pascal string in
/// 32 bytes), depth at 82 (16 bits), colour table at 84 (-1: none); 86 bytes, then extensions.
struct ImageDescription {
    FourCharCode codec = 0;
    int32_t width = 0;
    int32_t height = 0;
    int32_t depth = 24;
    int32_t temporalQuality = 0;
    int32_t spatialQuality = 512;
    int32_t rowBytes = 0; ///< stride of raw pixels, stored in an extension; 0: rows are packed
    std::string name;     ///< name of the codec for the user, at most 31 bytes
    std::vector<uint8_t>
        extensions; ///< the atoms after the 86 bytes (big-endian size and type each), as stored in files
};

inline constexpr int32_t kImageDescriptionSize = 86;

/// The content of the first atom of a type in a list of atoms; nothing if there is none.
std::optional<std::span<const uint8_t>> FindAtom(std::span<const uint8_t> atoms, FourCharCode type);

/// Adds an atom to a description's extensions.
void AppendExtension(ImageDescription& description, FourCharCode type, std::span<const uint8_t> content);

/// Whether frames of both descriptions are decoded in the same way: with the same codec, size, layout and extensions.
bool IsDecodedAlike(const ImageDescription& a, const ImageDescription& b);

/// The record of a description.
std::vector<uint8_t> RecordOf(const ImageDescription& description);

/// Reads a record. Returns false if it is truncated, its size field is wrong, or a side is outside of 1 to
/// `kMaxPictureSide`.
bool ReadImageDescription(std::span<const uint8_t> record, ImageDescription& description);

/// Fills the handle at address `handleCell` (a 32-bit cell with the handle) with the description of a pixel map's
/// pixels. `paramErr` for an invalid map or handle.
Result MakeImageDescriptionForPixMap(PixMapReference map, Address handleCell);

/// Registers the call that is bound by name.
void StartCompression();

} // namespace platform
