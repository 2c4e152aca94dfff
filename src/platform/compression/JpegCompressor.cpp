// SPDX-License-Identifier: MIT
// Compressing JPEG with TurboJPEG.
//
// Pictures with luma and chroma are passed as planes, without a detour through RGB: 4:2:2 stays 4:2:2 and 4:2:0 stays
// 4:2:0. The planes are stretched from the limited range to JPEG's on the way. Pictures with an odd width or height,
// which the planes can't represent exactly, those with another matrix than JPEG's (BT.601), and all RGB ones are passed
// as RGB and stored as 4:2:2.
#include "platform/compression/JpegCompressor.h"

#include "platform/compression/FrameReader.h"
#include "platform/compression/VideoRange.h"
#include "platform/log/Log.h"

#include <libyuv.h>
#include <turbojpeg.h>

#include <algorithm>

namespace platform {
namespace {

struct TurboDeleter {
    void operator()(void* handle) const { tjDestroy(handle); }
};

// At 512, the normal quality, artefacts are no longer noticed at a glance.
int QualityOf(int32_t spatialQuality)
{
    constexpr int kLowest = 25, kNormal = 85, kHighest = 100;
    const int32_t quality = std::clamp(spatialQuality, 0, kHighestQuality);
    if (quality <= 512)
        return kLowest + (kNormal - kLowest) * quality / 512;
    return kNormal + (kHighest - kNormal) * (quality - 512) / 512;
}

// Three planes in one buffer.
struct Planes {
    uint8_t* plane[3];
    int32_t rowBytes[3];
};

class JpegCompressor : public FrameCompressor {
public:
    explicit JpegCompressor(const CompressionSettings& settings) : settings(settings), turbo(tjInitCompress()) {}

    OwnedBlock Compress(const RawFrame& frame) override
    {
        const auto picture = reader.Read(frame);
        if (!turbo || !picture)
            return {};
        colors = InLimited601(picture->colors);
        const bool goesInAsPlanes =
            picture->width % 2 == 0 && picture->height % 2 == 0 && HasMatrix601(picture->colors);
        switch (picture->layout) {
        case k2vuyPixelFormat:
        case kYuvsPixelFormat:
            return goesInAsPlanes ? CompressPlanes(*picture, TJSAMP_422) : CompressAs32(*picture);
        case kY420PixelFormat:
        case kNV12PixelFormat:
            return goesInAsPlanes ? CompressPlanes(*picture, TJSAMP_420) : CompressAs32(*picture);
        case kGreyPixelFormat:
            return CompressPixels(*picture, TJPF_GRAY, TJSAMP_GRAY);
        case kRGB24PixelFormat:
            return CompressPixels(*picture, TJPF_RGB, TJSAMP_422);
        case kBGR24PixelFormat:
            return CompressPixels(*picture, TJPF_BGR, TJSAMP_422);
        default:
            return CompressAs32(*picture);
        }
    }

    ImageDescription Description(int32_t width, int32_t height) const override
    {
        ImageDescription description = DescriptionOfPassThrough({{}, CodeOf("jpeg"), width, height, colors});
        description.spatialQuality = settings.spatialQuality;
        return description;
    }

private:
    OwnedBlock CompressAs32(const RawPicture& picture)
    {
        const auto pixels = reader.As32(picture);
        return pixels ? CompressPixels(*pixels, TJPF_BGRX, TJSAMP_422) : OwnedBlock();
    }

    OwnedBlock CompressPixels(const RawPicture& picture, TJPF pixelFormat, TJSAMP sampling)
    {
        unsigned long size = Reserve(picture, sampling);
        uint8_t* target = output.data();
        const int result =
            tjCompress2(turbo.get(), picture.pixels, picture.width, picture.rowBytes, picture.height, pixelFormat,
                        &target, &size, sampling, QualityOf(settings.spatialQuality), TJFLAG_NOREALLOC);
        return Concluded(result, size);
    }

    OwnedBlock CompressPlanes(const RawPicture& picture, TJSAMP sampling)
    {
        const Planes split = Split(picture, sampling);
        unsigned long size = Reserve(picture, sampling);
        uint8_t* target = output.data();
        const uint8_t* const sources[3] = {split.plane[0], split.plane[1], split.plane[2]};
        const int result = tjCompressFromYUVPlanes(turbo.get(), const_cast<const uint8_t**>(sources), picture.width,
                                                   split.rowBytes, picture.height, sampling, &target, &size,
                                                   QualityOf(settings.spatialQuality), TJFLAG_NOREALLOC);
        return Concluded(result, size);
    }

    OwnedBlock Concluded(int result, unsigned long size)
    {
        if (result == 0)
            return BlockOf({output.data(), size});
        compressionLog.Warning("JPEG: compress: ", tjGetErrorStr2(turbo.get()));
        return {};
    }

    unsigned long Reserve(const RawPicture& picture, TJSAMP sampling)
    {
        const unsigned long most = tjBufSize(picture.width, picture.height, sampling);
        if (output.size() < most)
            output.resize(most);
        return most;
    }

    // The picture's planes, in JPEG's range.
    Planes Split(const RawPicture& picture, TJSAMP sampling)
    {
        const int32_t width = picture.width, height = picture.height;
        const size_t luma = static_cast<size_t>(width) * static_cast<size_t>(height);
        const size_t chroma = luma / (sampling == TJSAMP_420 ? 4 : 2);
        if (planes.size() < luma + 2 * chroma)
            planes.resize(luma + 2 * chroma);
        uint8_t* y = planes.data();
        const Planes split{{y, y + luma, y + luma + chroma}, {width, width / 2, width / 2}};
        const uint8_t* second = picture.pixels + static_cast<ptrdiff_t>(luma);
        if (picture.layout == k2vuyPixelFormat)
            libyuv::UYVYToI422(picture.pixels, picture.rowBytes, split.plane[0], width, split.plane[1], width / 2,
                               split.plane[2], width / 2, width, height);
        else if (picture.layout == kYuvsPixelFormat)
            libyuv::YUY2ToI422(picture.pixels, picture.rowBytes, split.plane[0], width, split.plane[1], width / 2,
                               split.plane[2], width / 2, width, height);
        else if (picture.layout == kNV12PixelFormat)
            libyuv::NV12ToI420(picture.pixels, width, second, width, split.plane[0], width, split.plane[1], width / 2,
                               split.plane[2], width / 2, width, height);
        else
            std::copy_n(picture.pixels, luma + 2 * chroma, y);
        if (picture.colors.isFullRange)
            return split;
        ForEachByte({y, luma}, StretchedLuma);
        ForEachByte({y + luma, 2 * chroma}, StretchedChroma);
        return split;
    }

    CompressionSettings settings;
    std::unique_ptr<void, TurboDeleter> turbo;
    FrameReader reader;
    VideoColors colors; ///< of the previous frame
    std::vector<uint8_t> planes;
    std::vector<uint8_t> output;
};

} // namespace

std::unique_ptr<FrameCompressor> MakeJpegCompressor(const CompressionSettings& settings)
{
    return std::make_unique<JpegCompressor>(settings);
}

} // namespace platform
