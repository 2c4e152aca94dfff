// SPDX-License-Identifier: MIT
#include "platform/compression/KeyFrames.h"
#include "platform/compression/NalUnits.h"
#include "platform/compression/Pictures.h"
#include "platform/compression/RawPictures.h"

#include <random>

using namespace platform;
using namespace pictures;

namespace {

constexpr FourCharCode kFormats[] = {kPixelFormat32,   kRGB24PixelFormat, kBGR24PixelFormat, k2vuyPixelFormat,
                                     kYuvsPixelFormat, kY420PixelFormat,  kNV12PixelFormat,  kGreyPixelFormat};

// Compresses a picture of four quarters, decodes it by its description and looks at the middle of each quarter.
void ExpectRoundTrip(FrameCompressor& compressor, const RawFrame& frame, int tolerance, const std::string& name)
{
    const OwnedBlock block = compressor.Compress(frame);
    ASSERT_GT(block.Size(), 0) << name;
    const ImageDescription description = compressor.Description(frame.width, frame.height);
    const auto decoder = FrameDecoder::Create(description);
    ASSERT_NE(decoder, nullptr) << name;
    const TestPort port(description.width, description.height);
    ASSERT_EQ(decoder->Decode(block.Bytes(), port.Pixels()), noErr) << name;
    ExpectQuarters(port, tolerance, name, frame.format == kGreyPixelFormat);
}

} // namespace

TEST(FrameCompressor, EveryCompressorTakesEveryFormat)
{
    const auto names = AvailableCompressors();
    ASSERT_GE(names.size(), 7U);
    EXPECT_EQ(names.front().codec, CodeOf("jpeg"));
    for (const CompressorName& known : names) {
        const auto compressor = FrameCompressor::Create({.codec = known.codec});
        for (const FourCharCode format : kFormats) {
            // The size changes from frame to frame, and the odd one fits no block or pair of pixels.
            for (const auto& [width, height] : {std::pair{64, 48}, std::pair{75, 57}}) {
                const auto bytes = Quarters(format, width, height);
                const auto name = known.name + " from " + TextOf(format) + " " + std::to_string(width);
                ExpectRoundTrip(*compressor, {bytes, format, width, height}, 9, name);
                EXPECT_EQ(compressor->Compress({std::span(bytes).first(bytes.size() - 1), format, width, height}).Get(),
                          0)
                    << name << ", cut short";
            }
        }
        const auto jpeg = QuartersJpeg(64, 48);
        ExpectRoundTrip(*compressor, {jpeg, CodeOf("jpeg"), 64, 48}, 14, known.name + " from jpeg");
    }
    EXPECT_EQ(FrameCompressor::Create({.codec = CodeOf("what")}), nullptr);
}

namespace {

constexpr int32_t kWidth = 96, kHeight = 64;

// Grain that is another in every frame.
std::vector<uint8_t> Noise(uint32_t seed)
{
    std::vector<uint8_t> bytes(static_cast<size_t>(PackedImageSize(k2vuyPixelFormat, kWidth, kHeight)));
    std::mt19937 random(seed);
    for (uint8_t& byte : bytes)
        byte = static_cast<uint8_t>(100 + random() % 50);
    return bytes;
}

int64_t SizeOfFrames(const CompressionSettings& settings, int frames)
{
    const auto compressor = FrameCompressor::Create(settings);
    int64_t size = 0;
    for (int i = 0; i < frames; ++i)
        size += compressor->Compress({Noise(static_cast<uint32_t>(i)), k2vuyPixelFormat, kWidth, kHeight}).Size();
    return size;
}

bool IsAvailable(FourCharCode codec)
{
    return std::ranges::any_of(AvailableCompressors(), [=](const auto& known) { return known.codec == codec; });
}

} // namespace

// Each frame comes out at once and in its place, and the key frames are where they were asked for.
TEST(FrameCompressor, InterFrameCodecsKeepOrderAndKeyFrames)
{
    constexpr int kFrames = 10, kRequestBefore = 6;
    ASSERT_TRUE(IsAvailable(CodeOf("avc1")));
    for (const FourCharCode codec : {CodeOf("avc1"), CodeOf("hvc1")})
        for (const auto& [rate, expected] :
             {std::pair{1, "KKKKKKKKKK"}, {4, "K...K.K..."}, {300, "K.....K..."}, {0, "K.....K..."}}) {
            if (!IsAvailable(codec))
                continue;
            const auto name = TextOf(codec) + " each " + std::to_string(rate);
            const auto compressor = FrameCompressor::Create({.codec = codec, .keyFrameRate = rate});
            std::unique_ptr<FrameDecoder> decoder;
            std::string keys;
            for (int i = 0; i < kFrames; ++i) {
                if (i == kRequestBefore)
                    RequestKeyFrame();
                auto bytes = Quarters(kPixelFormat32, kWidth, kHeight);
                const bool isNegative = i % 2 == 1;
                if (isNegative)
                    std::ranges::transform(bytes, bytes.begin(), [](uint8_t byte) { return 255 - byte; });
                const OwnedBlock block = compressor->Compress({bytes, kPixelFormat32, kWidth, kHeight});
                keys += IsKeyFrame(codec, block.Bytes()) ? 'K' : '.';
                if (!decoder)
                    decoder = FrameDecoder::Create(compressor->Description(kWidth, kHeight));
                const TestPort port(kWidth, kHeight);
                ASSERT_EQ(decoder->Decode(block.Bytes(), port.Pixels()), noErr) << name << ", frame " << i;
                const Color white = port.ColorAt(kWidth * 3 / 4, kHeight * 3 / 4);
                EXPECT_EQ(white.green < 128, isNegative) << name << ", frame " << i;
                // No cut or damage makes a reader leave the bytes.
                for (size_t cut = 0; cut < block.Bytes().size(); cut += 7)
                    IsKeyFrame(codec, block.Bytes().first(cut));
            }
            EXPECT_EQ(keys, expected) << name;
        }
    const uint8_t tooLong[] = {0xFF, 0xFF, 0xFF, 0xFF, 0x65};
    EXPECT_FALSE(IsKeyFrame(CodeOf("avc1"), tooLong));
    EXPECT_TRUE(IsKeyFrame(CodeOf("jpeg"), tooLong));
}

// What keeps start codes from appearing in a parameter set is no part of the profile that a movie holds.
TEST(NalUnits, TheProfileIsReadWithoutEmulationPrevention)
{
    const uint8_t header[] = {0, 0,    1, 0x40, 1, 9, 0, 0, 1, 0x42, 1,    1, 1, 0x60, 0,    0, 3,
                              0, 0x90, 0, 0,    3, 0, 0, 3, 0, 0x5D, 0xA0, 0, 0, 1,    0x44, 1, 7};
    const auto record = DecoderConfiguration(NalCodec::Hevc, header);
    ASSERT_GT(record.size(), 13U);
    EXPECT_EQ(std::vector(record.begin() + 1, record.begin() + 13),
              (std::vector<uint8_t>{1, 0x60, 0, 0, 0, 0x90, 0, 0, 0, 0, 0, 0x5D}));
}

TEST(FrameCompressor, TheSettingsAct)
{
    for (const CompressorName& known : AvailableCompressors()) {
        const auto sizeWith = [&](auto change) {
            CompressionSettings settings{.codec = known.codec, .frameRate = 30};
            change(settings);
            return SizeOfFrames(settings, known.isInterFrame ? 60 : 2);
        };
        if (!known.hasQuality)
            continue;
        SCOPED_TRACE(known.name);
        const int64_t usual = sizeWith([](auto&) {});
        EXPECT_LT(sizeWith([](auto& s) { s.spatialQuality = 0; }), usual * (known.isInterFrame ? 6 : 9) / 10);
        EXPECT_GT(sizeWith([](auto& s) { s.spatialQuality = 1024; }), usual * (known.isInterFrame ? 15 : 11) / 10);
        if (!known.isInterFrame)
            continue;
        EXPECT_LT(sizeWith([](auto& s) { s.temporalQuality = 0; }), usual * 2 / 3);
        EXPECT_GT(sizeWith([](auto& s) { s.temporalQuality = 1024; }), usual * 8 / 7);
        // 60 frames are two seconds, and a second's worth may come at once.
        const auto limit = static_cast<int32_t>(usual / 8);
        EXPECT_LT(sizeWith([=](auto& s) { s.dataRate = limit; }), int64_t{limit} * 7 / 2);
    }
}

// An archive holds the camera's own samples.
TEST(FrameCompressor, Ffv1LosesNothing)
{
    for (const FourCharCode format : kFormats) {
        auto bytes = Quarters(format, kWidth, kHeight);
        std::mt19937 random(1);
        for (uint8_t& byte : bytes)
            byte = static_cast<uint8_t>(std::clamp(byte + static_cast<int>(random() % 9) - 4, 16, 235));
        const auto compressor = FrameCompressor::Create({.codec = CodeOf("FFV1")});
        const OwnedBlock block = compressor->Compress({bytes, format, kWidth, kHeight});
        const TestPort direct(kWidth, kHeight), through(kWidth, kHeight);
        ASSERT_EQ(
            FrameDecoder::Create(compressor->Description(kWidth, kHeight))->Decode(block.Bytes(), through.Pixels()),
            noErr);
        ASSERT_EQ(FrameDecoder::Create(DescriptionOfLayout(format, kWidth, kHeight))->Decode(bytes, direct.Pixels()),
                  noErr);
        for (int32_t i = 0; i < kWidth * kHeight; ++i)
            ASSERT_EQ(through.ColorAt(i % kWidth, i / kWidth), direct.ColorAt(i % kWidth, i / kWidth))
                << TextOf(format) << " at " << i;
    }
}
