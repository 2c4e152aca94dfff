// SPDX-License-Identifier: MIT
#include "platform/compression/PictureConversion.h"

#include "platform/compression/VideoColors.h"
#include "platform/log/Log.h"

#include <cstring>
#include <libyuv.h>

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace platform {
namespace {

// The JPEG variants of formats imply the full range and are treated like the plain ones.
struct PlainFormat {
    int format;
    bool fullRange;
};

PlainFormat PlainFormatOf(const AVFrame& picture)
{
    switch (picture.format) {
    case AV_PIX_FMT_YUVJ420P:
        return {AV_PIX_FMT_YUV420P, true};
    case AV_PIX_FMT_YUVJ422P:
        return {AV_PIX_FMT_YUV422P, true};
    case AV_PIX_FMT_YUVJ444P:
        return {AV_PIX_FMT_YUV444P, true};
    case AV_PIX_FMT_YUVJ440P:
        return {AV_PIX_FMT_YUV440P, true};
    case AV_PIX_FMT_YUVJ411P:
        return {AV_PIX_FMT_YUV411P, true};
    case AV_PIX_FMT_GRAY8:
        return {AV_PIX_FMT_GRAY8, true};
    default:
        return {picture.format, picture.color_range == AVCOL_RANGE_JPEG};
    }
}

// A damaged frame may contain a matrix that the enumeration lacks, so it is read as a number.
int MatrixOf(const AVFrame& picture)
{
    int stated = 0;
    static_assert(sizeof(stated) == sizeof(picture.colorspace));
    std::memcpy(&stated, &picture.colorspace, sizeof(stated));
    switch (stated) {
    case AVCOL_SPC_BT709:
    case AVCOL_SPC_SMPTE240M:
    case AVCOL_SPC_BT2020_NCL:
        return stated;
    case AVCOL_SPC_BT2020_CL:
        return AVCOL_SPC_BT2020_NCL;
    case AVCOL_SPC_UNSPECIFIED:
    case AVCOL_SPC_RGB:
        return picture.height >= 720 ? AVCOL_SPC_BT709 : AVCOL_SPC_SMPTE170M;
    default:
        return AVCOL_SPC_SMPTE170M;
    }
}

const uint16_t* Words(const uint8_t* bytes)
{
    return reinterpret_cast<const uint16_t*>(bytes);
}

// Converts the layouts of cameras and editing codecs in one pass. Returns false for others.
bool QuickTo32(const AVFrame& picture, const PlainFormat& plain, uint8_t* target, int32_t rowBytes)
{
    const auto& data = picture.data;
    const auto& stride = picture.linesize;
    const auto* constants =
        &ConstantsOf({.matrix = static_cast<uint8_t>(MatrixOf(picture)), .isFullRange = plain.fullRange});
    switch (plain.format) {
    case AV_PIX_FMT_YUV420P:
        return libyuv::I420ToARGBMatrix(data[0], stride[0], data[1], stride[1], data[2], stride[2], target, rowBytes,
                                        constants, picture.width, picture.height) == 0;
    case AV_PIX_FMT_YUV422P:
        return libyuv::I422ToARGBMatrix(data[0], stride[0], data[1], stride[1], data[2], stride[2], target, rowBytes,
                                        constants, picture.width, picture.height) == 0;
    case AV_PIX_FMT_YUV422P10LE:
        return libyuv::I210ToARGBMatrix(Words(data[0]), stride[0] / 2, Words(data[1]), stride[1] / 2, Words(data[2]),
                                        stride[2] / 2, target, rowBytes, constants, picture.width, picture.height) == 0;
    default:
        return false;
    }
}

} // namespace

bool PictureConversion::To32(const AVFrame& picture, uint8_t* target, int32_t targetRowBytes)
{
    const PlainFormat plain = PlainFormatOf(picture);
    if (QuickTo32(picture, plain, target, targetRowBytes))
        return true;
    if (!Prepare(picture, AV_PIX_FMT_BGR0, picture.width, picture.height, AVCOL_SPC_SMPTE170M, true))
        return false;
    uint8_t* planes[4] = {target};
    const int strides[4] = {targetRowBytes};
    return sws_scale(scaler.get(), picture.data, picture.linesize, 0, picture.height, planes, strides) ==
           picture.height;
}

bool PictureConversion::Convert(const AVFrame& picture, AVFrame& target)
{
    return Prepare(picture, target.format, target.width, target.height, MatrixOf(target),
                   target.color_range == AVCOL_RANGE_JPEG) &&
           sws_scale(scaler.get(), picture.data, picture.linesize, 0, picture.height, target.data, target.linesize) ==
               target.height;
}

bool PictureConversion::Prepare(const AVFrame& picture, int format, int32_t width, int32_t height, int matrix,
                                bool fullRange)
{
    const PlainFormat plain = PlainFormatOf(picture);
    const Shape from{plain.format, picture.width, picture.height, MatrixOf(picture), plain.fullRange};
    const Shape to{format, width, height, matrix, fullRange};
    if (scaler && from == source && to == destination)
        return true;
    scaler.reset(sws_getContext(from.width, from.height, static_cast<AVPixelFormat>(from.format), width, height,
                                static_cast<AVPixelFormat>(format), SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT,
                                nullptr, nullptr, nullptr));
    if (!scaler) {
        compressionLog.Warning("no conversion from format ", from.format, ", ", from.width, " x ", from.height,
                               " to format ", format, ", ", width, " x ", height);
        return false;
    }
    source = from;
    destination = to;
    sws_setColorspaceDetails(scaler.get(), sws_getCoefficients(from.matrix), from.fullRange,
                             sws_getCoefficients(matrix), fullRange, 0, 1 << 16, 1 << 16);
    return true;
}

} // namespace platform
