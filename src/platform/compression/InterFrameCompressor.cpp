// SPDX-License-Identifier: MIT
// Compressing H.264 and HEVC with libavcodec.
//
// Each frame in gives a frame out, in the same order: no frame looks ahead, and an encoder's threads work within one
// frame, by slices or rows. So a recording that ends has all of its frames, and the live picture is not delayed.
//
// Frames are stored in the form of movie files: parameter sets only in the description, NAL units after lengths of four
// bytes. Pictures are 4:2:0 in the limited range, which every player supports, with the device's own matrix if it
// delivers luma and chroma. Odd sides get one more column or row.
//
// The quality is constant, so the data rate follows the picture; a rate limit caps it.
#include "platform/compression/InterFrameCompressor.h"

#include "platform/compression/KeyFrames.h"
#include "platform/compression/LibavEncoder.h"
#include "platform/compression/NalUnits.h"
#include "platform/compression/PlanarReader.h"

#include <algorithm>
#include <cmath>
#include <thread>

namespace platform {
namespace {

struct Candidate {
    FourCharCode codec;
    const char* name;     ///< in libavcodec
    const char* quality;  ///< the option for the quality
    double normalQuality; ///< its value at normal quality; lower is better
    LibavEncoder::Options options;
};

constexpr const char* kX265Options = "log-level=none:scenecut=0:open-gop=0:frame-threads=1";
// The rows of a small picture are done before threads have woken one another for them: on a busy machine threads would
// take many times as long as a single one.
constexpr const char* kX265OptionsForSmall = ":wpp=0:pools=none";
constexpr int64_t kSmallPicture = int64_t{1280} * 720;

// In the order in which they are tried. Software encoders come first, since they support all settings.
const std::vector<Candidate>& Candidates()
{
    static const std::vector<Candidate> candidates{
        {CodeOf("avc1"),
         "libx264",
         "crf",
         23,
         {{"preset", "superfast"}, {"tune", "zerolatency"}, {"forced-idr", "1"}, {"sc_threshold", "0"}}},
        {CodeOf("avc1"),
         "h264_nvenc",
         "qp",
         24,
         {{"rc", "constqp"}, {"zerolatency", "1"}, {"delay", "0"}, {"forced-idr", "1"}}},
        {CodeOf("hvc1"),
         "libx265",
         "crf",
         26,
         {{"preset", "ultrafast"}, {"tune", "zerolatency"}, {"forced-idr", "1"}, {"x265-params", kX265Options}}},
        {CodeOf("hvc1"),
         "hevc_nvenc",
         "qp",
         26,
         {{"rc", "constqp"}, {"zerolatency", "1"}, {"delay", "0"}, {"forced-idr", "1"}}},
    };
    return candidates;
}

std::vector<const Candidate*> CandidatesFor(FourCharCode codec)
{
    std::vector<const Candidate*> found;
    for (const Candidate& candidate : Candidates())
        if (candidate.codec == codec && avcodec_find_encoder_by_name(candidate.name) != nullptr)
            found.push_back(&candidate);
    return found;
}

constexpr double kUsualFrameRate = 30;
constexpr int kMaxKeyFrameRate = 65535;

// Quantizers of key frames, and what is added to them for the frames in between. Six more double the step size.
struct Quantizers {
    double key;
    double between;
};

Quantizers QuantizersOf(double normal, const CompressionSettings& settings)
{
    constexpr double kSpatialRange = 13, kNormalBetween = 3, kWorstBetween = 11;
    const auto steps = [](int32_t quality) { return (512 - std::clamp(quality, 0, kHighestQuality)) / 512.0; };
    const double temporal = steps(settings.temporalQuality);
    const double between = kNormalBetween + temporal * (temporal > 0 ? kWorstBetween - kNormalBetween : kNormalBetween);
    return {normal - kNormalBetween + kSpatialRange * steps(settings.spatialQuality), between};
}

class InterFrameCompressor : public FrameCompressor {
public:
    explicit InterFrameCompressor(const CompressionSettings& settings) : settings(settings) {}

    OwnedBlock Compress(const RawFrame& frame) override
    {
        if (!OpenFor(frame) || !reader.Read(frame, *picture))
            return {};
        const uint32_t requests = KeyFrameRequests();
        const auto bytes = encoder.Encode(*picture, requests != requestsMet);
        requestsMet = requests;
        OwnedBlock block(static_cast<int64_t>(SizeWithLengths(bytes)));
        if (block.Get() != 0)
            StoreWithLengths(bytes, block.Bytes());
        else
            RequestKeyFrame();
        return block;
    }

    ImageDescription Description(int32_t width, int32_t height) const override
    {
        ImageDescription description = DescriptionOfPassThrough(settings.codec, Even(width), Even(height));
        description.spatialQuality = settings.spatialQuality;
        description.temporalQuality = settings.temporalQuality;
        AppendExtension(description, IsH264() ? CodeOf("avcC") : CodeOf("hvcC"), configuration);
        if (picture)
            AppendColors(description, ColorsOf(*picture));
        return description;
    }

private:
    static int32_t Even(int32_t side) { return (side + 1) / 2 * 2; }

    bool IsH264() const { return settings.codec == CodeOf("avc1"); }

    bool OpenFor(const RawFrame& frame)
    {
        const int32_t width = Even(frame.width), height = Even(frame.height);
        VideoColors colors = ColorsAsPlanes(frame);
        colors.isFullRange = false;
        if (encoder.IsOpen() && picture && picture->width == width && picture->height == height &&
            ColorsOf(*picture) == colors)
            return true;
        picture =
            frame.width < 1 || frame.height < 1 ? nullptr : NewVideoPicture(AV_PIX_FMT_YUV420P, width, height, colors);
        return picture && std::ranges::any_of(CandidatesFor(settings.codec),
                                              [this](const Candidate* candidate) { return Open(*candidate); });
    }

    bool Open(const Candidate& candidate)
    {
        // If there are no frames in between, all frames are key frames.
        const bool isIntra = settings.keyFrameRate == 1;
        const Quantizers quantizers = QuantizersOf(candidate.normalQuality, settings);
        auto options = candidate.options;
        for (auto& [option, value] : options)
            if (option == "x265-params" && int64_t{picture->width} * picture->height <= kSmallPicture)
                value += kX265OptionsForSmall;
        const double quality = std::max(1.0, quantizers.key + (isIntra ? 0 : quantizers.between));
        options.emplace_back(candidate.quality, std::to_string(std::lround(quality)));
        const bool isOpen = encoder.Open(candidate.name, *picture, options, [&](AVCodecContext& context) {
            SetRates(context);
            context.flags |= AV_CODEC_FLAG_GLOBAL_HEADER | AV_CODEC_FLAG_LOW_DELAY;
            context.flags |= static_cast<int>(AV_CODEC_FLAG_CLOSED_GOP); // the sign bit
            context.max_b_frames = 0;
            context.i_quant_factor = static_cast<float>(std::exp2(quantizers.between / 6));
            context.thread_count = static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1U, 4U));
        });
        if (!isOpen)
            return false;
        configuration = DecoderConfiguration(IsH264() ? NalCodec::H264 : NalCodec::Hevc, encoder.Header());
        if (configuration.empty())
            encoder.Close();
        return encoder.IsOpen();
    }

    void SetRates(AVCodecContext& context) const
    {
        const double frameRate = settings.frameRate > 0 ? settings.frameRate : kUsualFrameRate;
        context.framerate = av_d2q(frameRate, 100000);
        context.time_base = av_inv_q(context.framerate);
        // Players can skip by two seconds, and key frames at that distance cost little.
        const auto automatic = static_cast<int>(std::lround(2 * frameRate));
        context.gop_size =
            std::clamp(settings.keyFrameRate > 0 ? settings.keyFrameRate : automatic, 1, kMaxKeyFrameRate);
        if (settings.dataRate > 0) {
            context.rc_max_rate = int64_t{8} * settings.dataRate;
            context.rc_buffer_size = static_cast<int>(std::min<int64_t>(context.rc_max_rate, INT32_MAX));
        }
    }

    CompressionSettings settings;
    LibavEncoder encoder;
    PlanarReader reader;
    FrameOwner picture;
    std::vector<uint8_t> configuration;
    uint32_t requestsMet = KeyFrameRequests();
};

} // namespace

std::unique_ptr<FrameCompressor> MakeInterFrameCompressor(const CompressionSettings& settings)
{
    return CandidatesFor(settings.codec).empty() ? nullptr : std::make_unique<InterFrameCompressor>(settings);
}

} // namespace platform
