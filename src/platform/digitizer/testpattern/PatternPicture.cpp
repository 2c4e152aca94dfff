// SPDX-License-Identifier: MIT
#include "platform/digitizer/testpattern/PatternPicture.h"

#include "platform/digitizer/testpattern/TestPatternLayout.h"
#include "platform/drawing/PixelFormat.h"

namespace platform {
namespace {

PatternSurface SurfaceOf(std::vector<uint8_t>& pixels, int32_t width, int32_t height)
{
    return {pixels.data(), k2vuyPixelFormat, width, height, width * 2};
}

} // namespace

PatternPicture::PatternPicture(int32_t pictureWidth, int32_t pictureHeight)
    : plain(static_cast<size_t>(PackedImageSize(k2vuyPixelFormat, pictureWidth, pictureHeight))),
      white(plain.size()),
      width(pictureWidth),
      height(pictureHeight)
{
    DrawPatternBackground(SurfaceOf(plain, width, height), false);
    DrawPatternBackground(SurfaceOf(white, width, height), true);
}

std::span<const uint8_t> PatternPicture::Draw(uint32_t number, bool flash)
{
    auto& pixels = flash ? white : plain;
    DrawPatternFrame(SurfaceOf(pixels, width, height), number, flash);
    return pixels;
}

} // namespace platform
