// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/ImageDescription.h"

#include <cstdint>
#include <span>
#include <vector>

namespace platform {

/// The shape of one pixel: a picture is shown `across` / `down` times as wide as it has pixels.
struct PixelAspect {
    uint32_t across = 1;
    uint32_t down = 1;
};

/// True for the codecs of DV tape in standard definition, whose frames say their shape themselves.
bool IsTapeFormat(FourCharCode codec);

/// Adds the atoms that say how pictures are shown to a description in its file form, those of them that are
/// known and not there yet: "pasp" (pixel aspect), "colr" of type "nclc" (colours) and "fiel" (fields), as the
/// QuickTime file format defines them. `sample` is a frame of these.
void AddPictureAtoms(const ImageDescription& description, std::span<const uint8_t> sample,
                     std::vector<uint8_t>& fileForm);

/// The pixel aspect among a description's atoms; 1:1 where there is none.
PixelAspect PixelAspectIn(std::span<const uint8_t> atoms);

} // namespace platform
