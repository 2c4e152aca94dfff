// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/ReducedConversion.h"
#include "platform/compression/VideoColors.h"
#include "platform/drawing/PixelFormat.h"

#include <optional>
#include <span>

namespace platform {

/// The 32-bit layout of the movie format's "raw ": alpha, red, green, blue in memory.
inline constexpr FourCharCode kARGBLayout = CodeOf("ARGB");

/// An uncompressed picture, borrowed. `layout` is a pixel format of `PixelFormat.h` or `kARGBLayout`; `rowBytes` is the
/// stride of its first plane, and the chroma planes of a planar layout follow it without a gap.
struct RawPicture {
    const uint8_t* pixels = nullptr;
    int32_t rowBytes = 0;
    int32_t width = 0;
    int32_t height = 0;
    FourCharCode layout = 0;
    VideoColors colors = {}; ///< of luma and chroma
};

/// The layout for a description's codec and depth; 0 for a compressed or unknown one.
FourCharCode LayoutOf(const ImageDescription& description);

/// Whether a layout has luma and chroma, so that colors have a meaning.
bool HasChroma(FourCharCode layout);

/// The description of pixels in a layout, with packed rows and the codec used in movie files. Colors other than the
/// default ones are stated.
ImageDescription DescriptionOfLayout(FourCharCode layout, int32_t width, int32_t height,
                                     const VideoColors& colors = {});

/// A view of `bytes` as a picture. `rowBytes` 0: packed rows. Nothing if there are too few bytes or layout or size is
/// invalid.
std::optional<RawPicture> PictureIn(std::span<const uint8_t> bytes, FourCharCode layout, int32_t width, int32_t height,
                                    int32_t rowBytes = 0);

/// The planes of a picture with luma and chroma: its own, or planes split into `scratch`. Nothing for other layouts.
std::optional<PlanarPicture> AsPlanes(const RawPicture& picture, std::vector<uint8_t>& scratch);

/// Converts a picture to 32-bit pixels of ports in one pass.
void ConvertTo32(const RawPicture& picture, uint8_t* target, int32_t targetRowBytes);

} // namespace platform
