#include "platform/compression/Pictures.h"

#include <gtest/gtest.h>

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
    for (const auto& [codec, compressorName] : names) {
        const auto compressor = FrameCompressor::Create({.codec = codec});
        for (const FourCharCode format : kFormats) {
            // The size changes from frame to frame, and the odd one fits no block or pair of pixels.
            for (const auto& [width, height] : {std::pair{64, 48}, std::pair{75, 57}}) {
                const auto bytes = Quarters(format, width, height);
                const auto name = compressorName + " from " + TextOf(format) + " " + std::to_string(width);
                ExpectRoundTrip(*compressor, {bytes, format, width, height}, 9, name);
                EXPECT_EQ(compressor->Compress({std::span(bytes).first(bytes.size() - 1), format, width, height}).Get(),
                          0)
                    << name << ", cut short";
            }
        }
        const auto jpeg = QuartersJpeg(64, 48);
        ExpectRoundTrip(*compressor, {jpeg, CodeOf("jpeg"), 64, 48}, 14, compressorName + " from jpeg");
    }
    EXPECT_EQ(FrameCompressor::Create({.codec = CodeOf("what")}), nullptr);
}

// Where a compressor stores what it is given, not a bit may change.
TEST(FrameCompressor, StoredPixelsAreExact)
{
    struct Case {
        const char* codec;
        int32_t depth;
        FourCharCode from;
        FourCharCode sameAs;
    };
    constexpr int32_t width = 38, height = 10;
    for (const Case& c :
         {Case{"2vuy", 24, k2vuyPixelFormat, k2vuyPixelFormat}, Case{"2vuy", 24, kYuvsPixelFormat, k2vuyPixelFormat},
          Case{"yuvs", 24, k2vuyPixelFormat, kYuvsPixelFormat}, Case{"yuvs", 24, kNV12PixelFormat, kYuvsPixelFormat},
          Case{"raw ", 24, kBGR24PixelFormat, kRGB24PixelFormat},
          Case{"raw ", 24, kPixelFormat32, kRGB24PixelFormat}}) {
        const auto compressor = FrameCompressor::Create({.codec = CodeOf(c.codec), .depth = c.depth});
        const auto block = compressor->Compress({Quarters(c.from, width, height), c.from, width, height});
        const auto stored = block.Bytes();
        // The middle lines are left out: there the chroma of 4:2:0 belongs to two colours.
        const auto expected = Quarters(c.sameAs, width, height);
        const auto compared = static_cast<size_t>(PackedRowBytes(c.sameAs, width)) * 4;
        ASSERT_EQ(stored.size(), expected.size()) << c.codec;
        EXPECT_TRUE(std::ranges::equal(stored.first(compared), std::span(expected).first(compared)))
            << c.codec << " from " << TextOf(c.from);
    }
}

TEST(FrameCompressor, MoreQualityTakesMoreBytes)
{
    auto bytes = Quarters(kYuvsPixelFormat, 320, 240);
    for (size_t i = 0; i < bytes.size(); i += 2)
        bytes[i] = static_cast<uint8_t>(40 + i * i / 7 % 160);
    int64_t last = 0;
    for (const int32_t quality : {-5, 256, 512, 768, 1024}) {
        const auto compressor = FrameCompressor::Create({.spatialQuality = quality});
        const int64_t size = compressor->Compress({bytes, kYuvsPixelFormat, 320, 240}).Size();
        EXPECT_GT(size, last) << quality;
        last = size;
    }
}
