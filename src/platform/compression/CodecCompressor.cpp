// SPDX-License-Identifier: MIT
// Compressing with libavcodec. Every codec here stores each frame on its own, so each frame in gives a frame out.
//
// A codec has one pixel layout, and DV has two sizes as well; every frame is converted and scaled to that. The encoder
// is opened with the first frame and again when size or colors change. ProRes keeps the device's matrix, DV has that of
// BT.601; both have the limited range.
#include "platform/compression/CodecCompressor.h"

#include "platform/compression/CodecTags.h"
#include "platform/compression/FrameReader.h"
#include "platform/compression/LibavEncoder.h"
#include "platform/compression/PictureConversion.h"
#include "platform/compression/PlanarReader.h"

#include <algorithm>
#include <cmath>

namespace platform {
namespace {

struct Encoder {
    FourCharCode code;
    const char* name; ///< in libavcodec
    AVPixelFormat format;
    const char* profile;
    int quantizer; ///< at normal quality; 0 for codecs without a choice
};

constexpr Encoder kEncoders[] = {
    {CodeOf("png "), "png", AV_PIX_FMT_RGB24, nullptr, 0},
    {CodeOf("dvc "), "dvvideo", AV_PIX_FMT_YUV411P, nullptr, 0},
    {CodeOf("apco"), "prores_ks", AV_PIX_FMT_YUV422P10, "proxy", 16},
    {CodeOf("apcs"), "prores_ks", AV_PIX_FMT_YUV422P10, "lt", 10},
    {CodeOf("apcn"), "prores_ks", AV_PIX_FMT_YUV422P10, "standard", 6},
    {CodeOf("apch"), "prores_ks", AV_PIX_FMT_YUV422P10, "hq", 4},
};

// The quantizer doubles from normal quality to the lowest and halves to the highest. A fixed one spares ProRes the
// search for one that fills a given rate, which takes five times as long as everything else.
int QuantizerOf(const Encoder& encoder, int32_t spatialQuality)
{
    const double steps = (512 - std::clamp(spatialQuality, 0, kHighestQuality)) / 512.0;
    return static_cast<int>(std::lround(encoder.quantizer * std::exp2(steps)));
}

struct Size {
    int32_t width = 0;
    int32_t height = 0;

    bool operator==(const Size&) const = default;
};

LibavEncoder::Options OptionsOf(const Encoder& encoder)
{
    if (encoder.code == CodeOf("png "))
        return {{"compression_level", "1"}, {"pred", "sub"}};
    if (encoder.profile != nullptr)
        return {{"profile", encoder.profile}};
    return {};
}

bool IsDv(const Encoder& encoder)
{
    return encoder.code == CodeOf("dvc ");
}

// Sources of 576 or 288 lines are PAL, all others are stored as NTSC.
bool IsPal(int32_t height)
{
    return height == 576 || height == 288;
}

Size StoredSize(const Encoder& encoder, const Size& size)
{
    if (!IsDv(encoder))
        return size;
    return {720, IsPal(size.height) ? 576 : 480};
}

AVPixelFormat FormatOf(FourCharCode layout)
{
    switch (layout) {
    case k2vuyPixelFormat:
        return AV_PIX_FMT_UYVY422;
    case kYuvsPixelFormat:
        return AV_PIX_FMT_YUYV422;
    case kY420PixelFormat:
        return AV_PIX_FMT_YUV420P;
    case kNV12PixelFormat:
        return AV_PIX_FMT_NV12;
    case kRGB24PixelFormat:
        return AV_PIX_FMT_RGB24;
    case kBGR24PixelFormat:
        return AV_PIX_FMT_BGR24;
    case kGreyPixelFormat:
        return AV_PIX_FMT_GRAY8;
    default:
        return AV_PIX_FMT_BGR0;
    }
}

class CodecCompressor : public FrameCompressor {
public:
    CodecCompressor(const CompressionSettings& settings, const Encoder& encoder) : settings(settings), encoder(encoder)
    {
    }

    OwnedBlock Compress(const RawFrame& frame) override
    {
        const auto picture = reader.Read(frame);
        if (!picture || !OpenFor({picture->width, picture->height}, picture->colors))
            return {};
        AVFrame& stored = *converted;
        if (av_frame_make_writable(&stored) < 0 || !conversion.Convert(Wrapped(*picture), stored))
            return {};
        const auto bytes = library.Encode(stored);
        return bytes.empty() ? OwnedBlock() : BlockOf(bytes);
    }

    ImageDescription Description(int32_t width, int32_t height) const override
    {
        const Size size = StoredSize(encoder, {width, height});
        const bool isDvPal = IsDv(encoder) && IsPal(height);
        ImageDescription description =
            DescriptionOfPassThrough(isDvPal ? CodeOf("dvcp") : encoder.code, size.width, size.height);
        description.spatialQuality = settings.spatialQuality;
        if (encoder.quantizer != 0)
            AppendColors(description, StoredColors());
        return description;
    }

private:
    // DV frames can't state colors.
    VideoColors StoredColors() const
    {
        VideoColors stored = IsDv(encoder) ? VideoColors() : colors;
        stored.isFullRange = false;
        return stored;
    }

    bool OpenFor(const Size& size, const VideoColors& frameColors)
    {
        if (library.IsOpen() && size == opened && frameColors == colors)
            return true;
        opened = size;
        colors = frameColors;
        source.reset(av_frame_alloc());
        if (!source || !MakeTarget(StoredSize(encoder, size)))
            return false;
        return library.Open(encoder.name, *converted, OptionsOf(encoder), [this](AVCodecContext& context) {
            // Only DV has a rate in its frames, that of its television system.
            context.time_base = IsPal(context.height) ? AVRational{1, 25} : AVRational{1001, 30000};
            if (encoder.quantizer != 0) {
                context.flags |= AV_CODEC_FLAG_QSCALE;
                context.global_quality = QuantizerOf(encoder, settings.spatialQuality) * FF_QP2LAMBDA;
            }
        });
    }

    bool MakeTarget(const Size& size)
    {
        converted.reset(av_frame_alloc());
        if (!converted)
            return false;
        const bool isPal = IsDv(encoder) && IsPal(size.height);
        converted->format = isPal ? AV_PIX_FMT_YUV420P : encoder.format;
        converted->width = size.width;
        converted->height = size.height;
        SetColors(*converted, StoredColors());
        if (encoder.format == AV_PIX_FMT_RGB24) {
            converted->colorspace = AVCOL_SPC_RGB;
            converted->color_range = AVCOL_RANGE_JPEG;
        }
        return av_frame_get_buffer(converted.get(), 0) >= 0;
    }

    // The picture as libavcodec's frame. The scaler may read a little past the end of a row, so the pixels are copied
    // into a buffer with padding.
    const AVFrame& Wrapped(const RawPicture& picture)
    {
        constexpr size_t kPadding = 64;
        const int64_t size = PackedImageSize(picture.layout, picture.width, picture.height);
        const auto bytes = static_cast<size_t>(size);
        if (padded.size() < bytes + kPadding)
            padded.resize(bytes + kPadding);
        std::copy_n(picture.pixels, bytes, padded.begin());
        const int32_t half = (picture.width + 1) / 2;
        const ptrdiff_t luma = ptrdiff_t{picture.rowBytes} * picture.height;
        const ptrdiff_t chroma = ptrdiff_t{half} * ((picture.height + 1) / 2);
        source->format = FormatOf(picture.layout);
        source->width = picture.width;
        source->height = picture.height;
        SetColors(*source, picture.colors);
        source->data[0] = padded.data();
        source->linesize[0] = picture.rowBytes;
        source->data[1] = padded.data() + luma;
        source->data[2] = padded.data() + luma + chroma;
        source->linesize[1] = picture.layout == kNV12PixelFormat ? 2 * half : half;
        source->linesize[2] = half;
        return *source;
    }

    CompressionSettings settings;
    Encoder encoder;
    Size opened;
    VideoColors colors;
    LibavEncoder library;
    FrameOwner source;
    FrameOwner converted;
    PictureConversion conversion;
    FrameReader reader;
    std::vector<uint8_t> padded;
};

} // namespace

std::unique_ptr<FrameCompressor> MakeCodecCompressor(const CompressionSettings& settings)
{
    const auto* encoder = std::ranges::find(kEncoders, settings.codec, &Encoder::code);
    if (encoder == std::end(kEncoders) || avcodec_find_encoder_by_name(encoder->name) == nullptr)
        return nullptr;
    return std::make_unique<CodecCompressor>(settings, *encoder);
}

} // namespace platform
