// SPDX-License-Identifier: MIT
#include "platform/compression/RawPictures.h"

#include <algorithm>
#include <array>
#include <libyuv.h>

namespace platform {
namespace {

constexpr FourCharCode kBGRACodec = CodeOf("BGRA");

bool IsPlanar(FourCharCode layout)
{
    return layout == kY420PixelFormat || layout == kNV12PixelFormat;
}

// A packed row of the first plane. ARGB and the ports' pixels only differ in byte order.
int32_t PackedRow(FourCharCode layout, int32_t width)
{
    return PackedRowBytes(layout == kARGBLayout ? kPixelFormat32 : layout, width);
}

// Stride of one chroma plane of y420; twice that is the stride of nv12's second plane.
int32_t ChromaRowBytes(const RawPicture& picture)
{
    return (picture.rowBytes + 1) / 2;
}

void ConvertPlanar(const RawPicture& picture, uint8_t* target, int32_t targetRowBytes)
{
    const auto* constants = &ConstantsOf(picture.colors);
    const uint8_t* chroma = picture.pixels + ptrdiff_t{picture.rowBytes} * picture.height;
    const int32_t rowBytes = ChromaRowBytes(picture);
    if (picture.layout == kNV12PixelFormat) {
        libyuv::NV12ToARGBMatrix(picture.pixels, picture.rowBytes, chroma, 2 * rowBytes, target, targetRowBytes,
                                 constants, picture.width, picture.height);
        return;
    }
    const uint8_t* second = chroma + ptrdiff_t{rowBytes} * ((picture.height + 1) / 2);
    libyuv::I420ToARGBMatrix(picture.pixels, picture.rowBytes, chroma, rowBytes, second, rowBytes, target,
                             targetRowBytes, constants, picture.width, picture.height);
}

// Converts packed pairs with other than the default colors, for which the library has no single step, in pieces of
// rows, so that the planes between the two steps stay in the processor's cache.
void ConvertPairs(const RawPicture& picture, uint8_t* target, int32_t targetRowBytes)
{
    constexpr int32_t kPiece = 1024, kHalf = kPiece / 2;
    std::array<uint8_t, kPiece> y;
    std::array<uint8_t, kHalf> u, v;
    const auto split = picture.layout == kYuvsPixelFormat ? libyuv::YUY2ToI422 : libyuv::UYVYToI422;
    const auto* constants = &ConstantsOf(picture.colors);
    for (int32_t row = 0; row < picture.height; ++row)
        for (int32_t x = 0; x < picture.width; x += kPiece) {
            const int32_t width = std::min(kPiece, picture.width - x);
            const uint8_t* pairs = picture.pixels + ptrdiff_t{row} * picture.rowBytes + ptrdiff_t{2} * x;
            uint8_t* pixels = target + ptrdiff_t{row} * targetRowBytes + ptrdiff_t{4} * x;
            split(pairs, picture.rowBytes, y.data(), kPiece, u.data(), kHalf, v.data(), kHalf, width, 1);
            libyuv::I422ToARGBMatrix(y.data(), kPiece, u.data(), kHalf, v.data(), kHalf, pixels, targetRowBytes,
                                     constants, width, 1);
        }
}

bool IsPairs(FourCharCode layout)
{
    return layout == kYuvsPixelFormat || layout == k2vuyPixelFormat;
}

using Conversion = int (*)(const uint8_t*, int, uint8_t*, int, int, int);

// The library names 32-bit orders as in a register, the reverse of memory; its "RAW" has red first in memory and its
// "RGB24" blue first. Grey comes from cameras that use the full range.
Conversion ConversionOf(FourCharCode layout)
{
    switch (layout) {
    case kPixelFormat32:
        return libyuv::ARGBCopy;
    case kARGBLayout:
        return libyuv::BGRAToARGB;
    case kRGB24PixelFormat:
        return libyuv::RAWToARGB;
    case kBGR24PixelFormat:
        return libyuv::RGB24ToARGB;
    case k2vuyPixelFormat:
        return libyuv::UYVYToARGB;
    case kYuvsPixelFormat:
        return libyuv::YUY2ToARGB;
    default:
        return libyuv::J400ToARGB;
    }
}

} // namespace

FourCharCode LayoutOf(const ImageDescription& description)
{
    switch (description.codec) {
    case kRawPixelFormat:
        return description.depth == 24 ? kRGB24PixelFormat : description.depth == 32 ? kARGBLayout : 0;
    case kBGRACodec:
        return kPixelFormat32;
    default:
        return PackedRowBytes(description.codec, 1) != 0 ? description.codec : 0;
    }
}

bool HasChroma(FourCharCode layout)
{
    return IsPlanar(layout) || IsPairs(layout);
}

ImageDescription DescriptionOfLayout(FourCharCode layout, int32_t width, int32_t height, const VideoColors& colors)
{
    ImageDescription description;
    description.codec = layout;
    description.width = width;
    description.height = height;
    description.spatialQuality = 1024;
    description.name = "Uncompressed RGB";
    switch (layout) {
    case kPixelFormat32:
        description.codec = kBGRACodec;
        description.depth = 32;
        break;
    case kARGBLayout:
        description.codec = kRawPixelFormat;
        description.depth = 32;
        break;
    case kRGB24PixelFormat:
        description.codec = kRawPixelFormat;
        break;
    case kBGR24PixelFormat:
        break;
    case kGreyPixelFormat:
        description.depth = 40; // depths above 32 mean shades of grey
        description.name = "Uncompressed Grey";
        break;
    case kY420PixelFormat:
    case kNV12PixelFormat:
        description.name = "Uncompressed YUV 4:2:0";
        break;
    default:
        description.name = "Uncompressed YUV 4:2:2";
    }
    if (HasChroma(layout) && colors != VideoColors())
        AppendColors(description, colors);
    return description;
}

std::optional<RawPicture> PictureIn(std::span<const uint8_t> bytes, FourCharCode layout, int32_t width, int32_t height,
                                    int32_t rowBytes)
{
    const int32_t packed = PackedRow(layout, width);
    if (packed == 0 || height < 1 || (rowBytes != 0 && rowBytes < packed))
        return std::nullopt;
    const RawPicture picture{bytes.data(), rowBytes == 0 ? packed : rowBytes, width, height, layout};
    int64_t needed = int64_t{picture.rowBytes} * (height - 1) + packed;
    if (IsPlanar(layout)) {
        const int32_t chromaRows = (height + 1) / 2 * 2;
        needed = int64_t{picture.rowBytes} * height + int64_t{ChromaRowBytes(picture)} * chromaRows;
    }
    return static_cast<int64_t>(bytes.size()) < needed ? std::nullopt : std::optional(picture);
}

std::optional<PlanarPicture> AsPlanes(const RawPicture& picture, std::vector<uint8_t>& scratch)
{
    const bool isPlanar = IsPlanar(picture.layout);
    if (!HasChroma(picture.layout))
        return std::nullopt;
    PlanarPicture planar{.width = picture.width,
                         .height = picture.height,
                         .chromaWidth = (picture.width + 1) / 2,
                         .chromaHeight = isPlanar ? (picture.height + 1) / 2 : picture.height};
    const uint8_t* chroma = picture.pixels + ptrdiff_t{picture.rowBytes} * picture.height;
    if (picture.layout == kY420PixelFormat) {
        const int32_t rowBytes = ChromaRowBytes(picture);
        planar.planes = {picture.pixels, chroma, chroma + ptrdiff_t{rowBytes} * planar.chromaHeight};
        planar.rowBytes = {picture.rowBytes, rowBytes, rowBytes};
        return planar;
    }
    const auto lumaSize = isPlanar ? 0 : static_cast<size_t>(planar.width) * static_cast<size_t>(planar.height);
    const auto chromaSize = static_cast<size_t>(planar.chromaWidth) * static_cast<size_t>(planar.chromaHeight);
    scratch.resize(lumaSize + 2 * chromaSize);
    uint8_t* const u = scratch.data() + lumaSize;
    uint8_t* const v = u + chromaSize;
    planar.planes = {isPlanar ? picture.pixels : scratch.data(), u, v};
    planar.rowBytes = {isPlanar ? picture.rowBytes : planar.width, planar.chromaWidth, planar.chromaWidth};
    if (isPlanar)
        libyuv::SplitUVPlane(chroma, 2 * ChromaRowBytes(picture), u, planar.chromaWidth, v, planar.chromaWidth,
                             planar.chromaWidth, planar.chromaHeight);
    else
        (picture.layout == kYuvsPixelFormat ? libyuv::YUY2ToI422 : libyuv::UYVYToI422)(
            picture.pixels, picture.rowBytes, scratch.data(), planar.width, u, planar.chromaWidth, v,
            planar.chromaWidth, planar.width, planar.height);
    return planar;
}

void ConvertTo32(const RawPicture& picture, uint8_t* target, int32_t targetRowBytes)
{
    if (IsPlanar(picture.layout))
        ConvertPlanar(picture, target, targetRowBytes);
    else if (IsPairs(picture.layout) && &ConstantsOf(picture.colors) != &libyuv::kYuvI601Constants)
        ConvertPairs(picture, target, targetRowBytes);
    else
        ConversionOf(picture.layout)(picture.pixels, picture.rowBytes, target, targetRowBytes, picture.width,
                                     picture.height);
}

} // namespace platform
