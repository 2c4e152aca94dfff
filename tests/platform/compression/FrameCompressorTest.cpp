#include "platform/compression/Pictures.h"

#include <gtest/gtest.h>

#include <tuple>

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
