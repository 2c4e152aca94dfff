// SPDX-License-Identifier: MIT
// Frames of devices as planes.
//
// JPEG frames with 4:2:2 or 4:2:0 chroma are decoded to their own planes, converted to the limited range and, for
// 4:2:0, reduced by averaging pairs of rows. Raw luma and chroma is converted between layouts by libyuv. Everything
// else becomes 32-bit pixels first.
#include "platform/compression/PlanarReader.h"

#include "platform/compression/JpegDecoder.h"
#include "platform/compression/VideoRange.h"

#include <libyuv.h>
#include <turbojpeg.h>

#include <algorithm>
#include <cstring>

namespace platform {
namespace {

bool IsJpeg(FourCharCode format)
{
    return format == CodeOf("jpeg") || format == CodeOf("mjpa");
}

// Both chroma planes of a raw picture with planes.
struct Chroma {
    const uint8_t* first;
    const uint8_t* second; ///< of y420
    int32_t rowBytes;      ///< of y420; nv12's rows are of double length
};

Chroma ChromaOf(const RawPicture& picture)
{
    const int32_t rowBytes = (picture.rowBytes + 1) / 2;
    const uint8_t* first = picture.pixels + ptrdiff_t{picture.rowBytes} * picture.height;
    return {first, first + ptrdiff_t{rowBytes} * ((picture.height + 1) / 2), rowBytes};
}

// Converts luma and chroma to luma and chroma. Returns false for other pictures.
bool StoreYuv(const RawPicture& picture, AVFrame& to)
{
    const bool halfRows = to.format == AV_PIX_FMT_YUV420P;
    const auto* pixels = picture.pixels;
    const int32_t width = picture.width, height = picture.height, stride = picture.rowBytes;
    if (picture.layout == k2vuyPixelFormat || picture.layout == kYuvsPixelFormat) {
        const auto split = picture.layout == k2vuyPixelFormat ? (halfRows ? libyuv::UYVYToI420 : libyuv::UYVYToI422)
                                                              : (halfRows ? libyuv::YUY2ToI420 : libyuv::YUY2ToI422);
        return split(pixels, stride, to.data[0], to.linesize[0], to.data[1], to.linesize[1], to.data[2], to.linesize[2],
                     width, height) == 0;
    }
    if (!halfRows)
        return false;
    const Chroma chroma = ChromaOf(picture);
    if (picture.layout == kNV12PixelFormat)
        return libyuv::NV12ToI420(pixels, stride, chroma.first, 2 * chroma.rowBytes, to.data[0], to.linesize[0],
                                  to.data[1], to.linesize[1], to.data[2], to.linesize[2], width, height) == 0;
    return picture.layout == kY420PixelFormat &&
           libyuv::I420Copy(pixels, stride, chroma.first, chroma.rowBytes, chroma.second, chroma.rowBytes, to.data[0],
                            to.linesize[0], to.data[1], to.linesize[1], to.data[2], to.linesize[2], width, height) == 0;
}

std::span<uint8_t> RowOf(AVFrame& frame, int plane, int32_t row, int32_t width)
{
    return {frame.data[plane] + ptrdiff_t{row} * frame.linesize[plane], static_cast<size_t>(width)};
}

// Repeats the last column and row of luma if the target is larger. Chroma has half as many and fills its planes.
void RepeatEdges(AVFrame& to, int32_t width, int32_t height)
{
    for (int32_t y = 0; y < height && width < to.width; ++y)
        RowOf(to, 0, y, to.width).back() = RowOf(to, 0, y, width).back();
    if (height < to.height)
        std::ranges::copy(RowOf(to, 0, height - 1, to.width), RowOf(to, 0, height, to.width).begin());
}

void LimitRange(AVFrame& picture, int32_t width, int32_t height)
{
    const int32_t chromaRows = picture.format == AV_PIX_FMT_YUV420P ? (height + 1) / 2 : height;
    for (int32_t y = 0; y < height; ++y)
        ForEachByte(RowOf(picture, 0, y, width), ShrunkLuma);
    for (int plane = 1; plane <= 2; ++plane)
        for (int32_t y = 0; y < chromaRows; ++y)
            ForEachByte(RowOf(picture, plane, y, (width + 1) / 2), ShrunkChroma);
}

// A row of chroma from the rows that it covers.
void StoreChromaRow(std::span<const uint8_t> a, std::span<const uint8_t> b, std::span<uint8_t> target)
{
    for (size_t i = 0; i < target.size(); ++i)
        target[i] = ShrunkChroma(static_cast<uint8_t>((a[i] + b[i] + 1) >> 1));
}

} // namespace

FrameOwner NewVideoPicture(AVPixelFormat format, int32_t width, int32_t height, const VideoColors& colors)
{
    FrameOwner picture(av_frame_alloc());
    if (!picture)
        return nullptr;
    const bool isRgb = format == AV_PIX_FMT_BGR0;
    picture->format = format;
    picture->width = width;
    picture->height = height;
    SetColors(*picture, colors);
    if (isRgb)
        picture->colorspace = AVCOL_SPC_RGB;
    if (isRgb || format == AV_PIX_FMT_GRAY8)
        picture->color_range = AVCOL_RANGE_JPEG;
    return av_frame_get_buffer(picture.get(), 0) < 0 ? nullptr : std::move(picture);
}

void SetColors(AVFrame& picture, const VideoColors& colors)
{
    picture.color_primaries = static_cast<AVColorPrimaries>(colors.primaries);
    picture.color_trc = static_cast<AVColorTransferCharacteristic>(colors.transfer);
    picture.colorspace = static_cast<AVColorSpace>(colors.matrix);
    picture.color_range = colors.isFullRange ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
}

VideoColors ColorsOf(const AVFrame& picture)
{
    return {static_cast<uint8_t>(picture.color_primaries), static_cast<uint8_t>(picture.color_trc),
            static_cast<uint8_t>(picture.colorspace), picture.color_range == AVCOL_RANGE_JPEG};
}

AVPixelFormat PlanarReader::KeepingFormat(FourCharCode format)
{
    switch (format) {
    case kPixelFormat32:
    case kRGB24PixelFormat:
    case kBGR24PixelFormat:
        return AV_PIX_FMT_BGR0;
    case kGreyPixelFormat:
        return AV_PIX_FMT_GRAY8;
    case kY420PixelFormat:
    case kNV12PixelFormat:
        return AV_PIX_FMT_YUV420P;
    default:
        return AV_PIX_FMT_YUV422P;
    }
}

bool PlanarReader::Read(const RawFrame& frame, AVFrame& target)
{
    if (av_frame_make_writable(&target) < 0)
        return false;
    if (!(IsJpeg(frame.format) && ReadJpeg(frame.bytes, frame, target))) {
        const auto picture = reader.Read(frame);
        const bool isStored = picture && StoreYuv(*picture, target);
        if (isStored && picture->colors.isFullRange && target.color_range == AVCOL_RANGE_MPEG)
            LimitRange(target, frame.width, frame.height);
        else if (!isStored && !(picture && StoreRgb(*picture, target)))
            return false;
    }
    RepeatEdges(target, frame.width, frame.height);
    return true;
}

bool PlanarReader::StoreRgb(const RawPicture& picture, AVFrame& to)
{
    if (to.format == AV_PIX_FMT_GRAY8) {
        libyuv::CopyPlane(picture.pixels, picture.rowBytes, to.data[0], to.linesize[0], picture.width, picture.height);
        return picture.layout == kGreyPixelFormat;
    }
    const auto pixels = reader.As32(picture);
    if (!pixels)
        return false;
    if (to.format == AV_PIX_FMT_BGR0)
        return libyuv::ARGBCopy(pixels->pixels, pixels->rowBytes, to.data[0], to.linesize[0], picture.width,
                                picture.height) == 0;
    const auto convert = to.format == AV_PIX_FMT_YUV420P ? libyuv::ARGBToI420 : libyuv::ARGBToI422;
    return convert(pixels->pixels, pixels->rowBytes, to.data[0], to.linesize[0], to.data[1], to.linesize[1], to.data[2],
                   to.linesize[2], picture.width, picture.height) == 0;
}

// Also returns false for frames that are better read otherwise: other kinds of chroma, two fields, odd sides.
bool PlanarReader::ReadJpeg(std::span<const uint8_t> jpeg, const RawFrame& frame, AVFrame& to)
{
    if (!turbo)
        turbo = {tjInitDecompress(), [](void* handle) { tjDestroy(handle); }};
    int width = 0, height = 0, sampling = 0, colors = 0;
    if (!turbo || jpeg.empty() ||
        tjDecompressHeader3(turbo.get(), jpeg.data(), jpeg.size(), &width, &height, &sampling, &colors) != 0) {
        turbo.reset();
        return false;
    }
    if (width != frame.width || height != frame.height || width % 2 != 0 || height % 2 != 0 ||
        (sampling != TJSAMP_422 && sampling != TJSAMP_420) || HasTooManyScans(jpeg))
        return false;
    const int32_t half = width / 2, rows = sampling == TJSAMP_420 ? height / 2 : height;
    const size_t plane = static_cast<size_t>(half) * static_cast<size_t>(rows);
    chroma.resize(2 * plane);
    uint8_t* planes[3] = {to.data[0], chroma.data(), chroma.data() + plane};
    int strides[3] = {to.linesize[0], half, half};
    if (tjDecompressToYUVPlanes(turbo.get(), jpeg.data(), jpeg.size(), planes, width, strides, height,
                                JpegDecodingFlags()) != 0) {
        const bool hasPicture = tjGetErrorCode(turbo.get()) == TJERR_WARNING;
        turbo.reset();
        if (!hasPicture)
            return false;
    }
    for (int32_t y = 0; y < height; ++y)
        ForEachByte(RowOf(to, 0, y, width), ShrunkLuma);
    const int32_t targetRows = to.format == AV_PIX_FMT_YUV420P ? height / 2 : height;
    for (int i = 1; i <= 2; ++i)
        for (int32_t y = 0; y < targetRows; ++y) {
            const auto row = [&](int32_t number) {
                return std::span<const uint8_t>(planes[i] + ptrdiff_t{number} * half, static_cast<size_t>(half));
            };
            StoreChromaRow(row(y * rows / targetRows), row(((y + 1) * rows - 1) / targetRows), RowOf(to, i, y, half));
        }
    return true;
}

} // namespace platform
