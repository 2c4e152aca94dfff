// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/ImageDescription.h"

#include <cstdint>
#include <span>
#include <vector>

namespace platform {

/// The aspect ratio of one pixel: a picture is shown `horizontal` / `vertical` times as wide as it has pixels.
struct PixelAspect {
    uint32_t horizontal = 1;
    uint32_t vertical = 1;
};

/// Whether a codec is one of DV tape in standard definition, whose frames contain their aspect ratio.
bool IsTapeFormat(FourCharCode codec);

/// Adds the atoms that describe how pictures are shown to a stored description, if they are known and not there yet:
/// "pasp" (pixel aspect), "colr" of type "nclc" (colours) and "fiel" (fields), as defined by the QuickTime file format.
/// `sample` is one of the frames.
void AddPictureAtoms(const ImageDescription& description, std::span<const uint8_t> sample,
                     std::vector<uint8_t>& fileForm);

/// The pixel aspect in a description's atoms; 1:1 if there is none.
PixelAspect PixelAspectIn(std::span<const uint8_t> atoms);

} // namespace platform
