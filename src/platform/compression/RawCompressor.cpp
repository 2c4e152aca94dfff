// SPDX-License-Identifier: MIT
#include "platform/compression/RawCompressor.h"

#include "platform/compression/FrameReader.h"

#include <libyuv.h>

#include <algorithm>

namespace platform {
namespace {

class RawCompressor : public FrameCompressor {
public:
    RawCompressor(const CompressionSettings& settings, FourCharCode layout) : settings(settings), layout(layout) {}

    OwnedBlock Compress(const RawFrame& frame) override
    {
        const auto picture = reader.Read(frame);
        if (!picture)
            return {};
        colors = picture->colors;
        const FourCharCode sizeLayout = layout == kARGBLayout ? kPixelFormat32 : layout;
        OwnedBlock block(PackedImageSize(sizeLayout, picture->width, picture->height));
        if (block.Get() == 0)
            return {};
        uint8_t* target = PointerAt<uint8_t>(block.Get());
        const int32_t rowBytes = PackedRowBytes(sizeLayout, picture->width);
        if (picture->layout == layout)
            std::copy_n(picture->pixels, block.Size(), target);
        else if (!StoreYuv(*picture, target, rowBytes) && !StoreRgb(*picture, target, rowBytes))
            return {};
        return block;
    }

    ImageDescription Description(int32_t width, int32_t height) const override
    {
        ImageDescription description = DescriptionOfLayout(layout, width, height, colors);
        description.spatialQuality = settings.spatialQuality;
        return description;
    }

private:
    // Converts luma and chroma losslessly to another order. Returns false for other pairs of layouts.
    bool StoreYuv(const RawPicture& picture, uint8_t* target, int32_t rowBytes)
    {
        if (layout != k2vuyPixelFormat && layout != kYuvsPixelFormat)
            return false;
        const int32_t width = picture.width, height = picture.height, half = (width + 1) / 2;
        const size_t luma = static_cast<size_t>(width) * static_cast<size_t>(height);
        const size_t chroma = static_cast<size_t>(half) * static_cast<size_t>(height);
        if (planes.size() < luma + 2 * chroma)
            planes.resize(luma + 2 * chroma);
        uint8_t* y = planes.data();
        uint8_t* u = y + luma;
        uint8_t* v = u + chroma;
        const uint8_t* second = picture.pixels + static_cast<ptrdiff_t>(luma);
        const bool isOtherOrder = picture.layout == k2vuyPixelFormat || picture.layout == kYuvsPixelFormat;
        if (isOtherOrder) {
            const auto split = picture.layout == k2vuyPixelFormat ? libyuv::UYVYToI422 : libyuv::YUY2ToI422;
            split(picture.pixels, picture.rowBytes, y, width, u, half, v, half, width, height);
            const auto join = layout == k2vuyPixelFormat ? libyuv::I422ToUYVY : libyuv::I422ToYUY2;
            return join(y, width, u, half, v, half, target, rowBytes, width, height) == 0;
        }
        const auto join = layout == k2vuyPixelFormat ? libyuv::I420ToUYVY : libyuv::I420ToYUY2;
        if (picture.layout == kNV12PixelFormat) {
            libyuv::NV12ToI420(picture.pixels, width, second, 2 * half, y, width, u, half, v, half, width, height);
            return join(y, width, u, half, v, half, target, rowBytes, width, height) == 0;
        }
        const uint8_t* third = second + static_cast<ptrdiff_t>(half) * ((height + 1) / 2);
        return picture.layout == kY420PixelFormat &&
               join(picture.pixels, width, second, half, third, half, target, rowBytes, width, height) == 0;
    }

    bool StoreRgb(const RawPicture& picture, uint8_t* target, int32_t rowBytes)
    {
        const auto pixels = reader.As32(picture);
        if (!pixels)
            return false;
        const auto store = layout == kRGB24PixelFormat  ? libyuv::ARGBToRAW
                           : layout == kARGBLayout      ? libyuv::ARGBToBGRA
                           : layout == k2vuyPixelFormat ? libyuv::ARGBToUYVY
                                                        : libyuv::ARGBToYUY2;
        return store(pixels->pixels, pixels->rowBytes, target, rowBytes, picture.width, picture.height) == 0;
    }

    CompressionSettings settings;
    FourCharCode layout;
    FrameReader reader;
    VideoColors colors; ///< of the previous frame
    std::vector<uint8_t> planes;
};

} // namespace

std::unique_ptr<FrameCompressor> MakeRawCompressor(const CompressionSettings& settings)
{
    FourCharCode layout = settings.codec;
    if (settings.codec == kRawPixelFormat)
        layout = settings.depth == 32 ? kARGBLayout : kRGB24PixelFormat;
    return std::make_unique<RawCompressor>(settings, layout);
}

} // namespace platform
