// SPDX-License-Identifier: MIT
#include "platform/drawing/PixelFormat.h"

namespace platform {

int32_t PackedRowBytes(FourCharCode format, int32_t width)
{
    if (width < 1 || width > kMaxPictureSide)
        return 0;
    switch (format) {
    case kPixelFormat32:
        return 4 * width;
    case kRGB24PixelFormat:
    case kBGR24PixelFormat:
        return 3 * width;
    case k2vuyPixelFormat:
    case kYuvsPixelFormat:
        return (width + 1) / 2 * 4;
    case kY420PixelFormat:
    case kNV12PixelFormat:
    case kGreyPixelFormat:
        return width;
    default:
        return 0;
    }
}

int64_t PackedImageSize(FourCharCode format, int32_t width, int32_t height)
{
    if (height < 1 || height > kMaxPictureSide)
        return 0;
    const int64_t firstPlane = int64_t{PackedRowBytes(format, width)} * height;
    if (format != kY420PixelFormat && format != kNV12PixelFormat)
        return firstPlane;
    const int64_t chroma = int64_t{(width + 1) / 2} * ((height + 1) / 2);
    return firstPlane == 0 ? 0 : firstPlane + 2 * chroma;
}

} // namespace platform
