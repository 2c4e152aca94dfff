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
/// stride of its first plane, the chroma planes of a planar layout follow it without a gap.
struct RawPicture {
    const uint8_t* pixels = nullptr;
    int32_t rowBytes = 0;
    int32_t width = 0;
    int32_t height = 0;
    FourCharCode layout = 0;
    VideoColors colors = {}; ///< of luma and chroma
};

/// The layout that a description's codec and depth stand for, 0 for one that is compressed or unknown.
FourCharCode LayoutOf(const ImageDescription& description);

/// Whether a layout has luma and chroma, which colors give a meaning.
bool HasChroma(FourCharCode layout);

/// The description of pixels in a layout, with packed rows. The codec is the one under which movie files hold it.
/// Colors other than the usual ones are stated.
ImageDescription DescriptionOfLayout(FourCharCode layout, int32_t width, int32_t height,
                                     const VideoColors& colors = {});

/// A view of `bytes` as a picture. `rowBytes` 0 stands for packed rows. Nothing where the bytes don't suffice or the
/// layout or size is none.
std::optional<RawPicture> PictureIn(std::span<const uint8_t> bytes, FourCharCode layout, int32_t width, int32_t height,
                                    int32_t rowBytes = 0);

/// The planes of a picture that has luma and chroma: its own, or such as are taken apart into `scratch`. Nothing for
/// other layouts.
std::optional<PlanarPicture> AsPlanes(const RawPicture& picture, std::vector<uint8_t>& scratch);

/// Converts a picture to the ports' 32-bit pixels in one pass.
void ConvertTo32(const RawPicture& picture, uint8_t* target, int32_t targetRowBytes);

} // namespace platform
