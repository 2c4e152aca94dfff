// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/FourCharCode.h"

#include <cstdint>

namespace platform {

/// Pixel formats, with the numbers used by worlds and image descriptions. Byte orders are those in memory. 32 is the
/// format of ports: four bytes blue, green, red and an unused one (255), like Qt's Format_RGB32 and libyuv's ARGB on a
/// little-endian machine.
inline constexpr FourCharCode kPixelFormat32 = 32;
inline constexpr FourCharCode k2vuyPixelFormat = CodeOf("2vuy");  ///< 4:2:2, Cb Y Cr Y, video range (UYVY)
inline constexpr FourCharCode kYuvsPixelFormat = CodeOf("yuvs");  ///< 4:2:2, Y Cb Y Cr, video range (YUY2)
inline constexpr FourCharCode kY420PixelFormat = CodeOf("y420");  ///< planar 4:2:0: Y, then Cb, then Cr, rows packed
inline constexpr FourCharCode kNV12PixelFormat = CodeOf("nv12");  ///< Y plane, then Cb and Cr interleaved at half size
inline constexpr FourCharCode kRGB24PixelFormat = CodeOf("24RG"); ///< red, green, blue
inline constexpr FourCharCode kBGR24PixelFormat = CodeOf("24BG"); ///< blue, green, red
inline constexpr FourCharCode kGreyPixelFormat = CodeOf("grey");  ///< one byte of luma
inline constexpr FourCharCode kRawPixelFormat = CodeOf("raw ");   ///< in movies; depth 24: RGB, depth 32: ARGB

/// The largest width and height of ports and pictures, in pixels.
inline constexpr int32_t kMaxPictureSide = 16384;

/// Whether a picture can have that size in pixels.
constexpr bool IsPictureSize(int64_t width, int64_t height)
{
    return width >= 1 && height >= 1 && width <= kMaxPictureSide && height <= kMaxPictureSide;
}

/// Bytes of a row of `width` pixels without padding, in the first or only plane; 0 for an unknown format or a width
/// below 1 or above `kMaxPictureSide`.
int32_t PackedRowBytes(FourCharCode format, int32_t width);

/// Bytes of an image without padding, all planes; 0 for an unknown format or a size below 1 or above `kMaxPictureSide`.
int64_t PackedImageSize(FourCharCode format, int32_t width, int32_t height);

} // namespace platform
