// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/FourCharCode.h"

#include <cstdint>

namespace platform {

/// Pixel formats by the numbers that worlds and image descriptions use. Byte orders are those in memory.
/// 32 is the port format of this system: four bytes blue, green, red and an unused one (255), as Qt's Format_RGB32
/// and libyuv's ARGB have them on a little-endian machine.
inline constexpr FourCharCode kPixelFormat32 = 32;
inline constexpr FourCharCode k2vuyPixelFormat = CodeOf("2vuy");  ///< 4:2:2, Cb Y Cr Y, video range (UYVY)
inline constexpr FourCharCode kYuvsPixelFormat = CodeOf("yuvs");  ///< 4:2:2, Y Cb Y Cr, video range (YUY2)
inline constexpr FourCharCode kY420PixelFormat = CodeOf("y420");  ///< planar 4:2:0: Y, then Cb, then Cr, rows packed
inline constexpr FourCharCode kNV12PixelFormat = CodeOf("nv12");  ///< Y plane, then Cb and Cr interleaved at half size
inline constexpr FourCharCode kRGB24PixelFormat = CodeOf("24RG"); ///< red, green, blue
inline constexpr FourCharCode kBGR24PixelFormat = CodeOf("24BG"); ///< blue, green, red
inline constexpr FourCharCode kGreyPixelFormat = CodeOf("grey");  ///< one byte of luma
inline constexpr FourCharCode kRawPixelFormat = CodeOf("raw ");   ///< movie "raw ", by its depth: 24 RGB, 32 ARGB

/// Bytes of a packed row of `width` pixels in the first (or only) plane; 0 for an unknown format.
int32_t PackedRowBytes(FourCharCode format, int32_t width);

/// Bytes of a whole packed image, all planes; 0 for an unknown format or a size below 1 or above 16384.
int64_t PackedImageSize(FourCharCode format, int32_t width, int32_t height);

} // namespace platform
