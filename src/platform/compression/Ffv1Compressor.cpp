// SPDX-License-Identifier: MIT
// Compressing FFV1 with libavcodec: each frame on its own, in four slices with a checksum each, in the device's own
// sample format. The configuration record that decoders need is an atom of the description.
#include "platform/compression/Ffv1Compressor.h"

#include "platform/compression/LibavEncoder.h"
#include "platform/compression/PlanarReader.h"

namespace platform {
namespace {

constexpr const char* kEncoder = "ffv1";

class Ffv1Compressor : public FrameCompressor {
public:
    OwnedBlock Compress(const RawFrame& frame) override
    {
        if (!OpenFor(frame) || !reader.Read(frame, *picture))
            return {};
        const auto bytes = encoder.Encode(*picture);
        return bytes.empty() ? OwnedBlock() : BlockOf(bytes);
    }

    ImageDescription Description(int32_t width, int32_t height) const override
    {
        ImageDescription description = DescriptionOfPassThrough(CodeOf("FFV1"), width, height);
        description.spatialQuality = kHighestQuality;
        AppendExtension(description, CodeOf("glbl"), configuration);
        if (picture && picture->format != AV_PIX_FMT_BGR0 && picture->format != AV_PIX_FMT_GRAY8)
            AppendColors(description, ColorsOf(*picture));
        return description;
    }

private:
    bool OpenFor(const RawFrame& frame)
    {
        const AVPixelFormat format = PlanarReader::KeepingFormat(frame.format);
        const VideoColors frameColors = ColorsAsPlanes(frame);
        if (encoder.IsOpen() && picture && picture->format == format && picture->width == frame.width &&
            picture->height == frame.height && frameColors == colors)
            return true;
        colors = frameColors;
        picture =
            frame.width < 1 || frame.height < 1 ? nullptr : NewVideoPicture(format, frame.width, frame.height, colors);
        // Small pictures with odd sides can't be divided into four slices: then the library chooses.
        if (!picture || !(Open({{"slicecrc", "1"}, {"slices", "4"}}) || Open({{"slicecrc", "1"}})))
            return false;
        const auto header = encoder.Header();
        configuration.assign(header.begin(), header.end());
        return true;
    }

    bool Open(const LibavEncoder::Options& options)
    {
        return encoder.Open(kEncoder, *picture, options, [](AVCodecContext& context) {
            context.level = 3;
            context.gop_size = 1;
            context.time_base = {1, 30};
        });
    }

    LibavEncoder encoder;
    PlanarReader reader;
    FrameOwner picture;
    VideoColors colors;
    std::vector<uint8_t> configuration;
};

} // namespace

std::unique_ptr<FrameCompressor> MakeFfv1Compressor(const CompressionSettings&)
{
    return avcodec_find_encoder_by_name(kEncoder) == nullptr ? nullptr : std::make_unique<Ffv1Compressor>();
}

} // namespace platform
