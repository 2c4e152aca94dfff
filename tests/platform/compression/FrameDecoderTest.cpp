// SPDX-License-Identifier: MIT
#include "platform/compression/JpegDecoder.h"
#include "platform/compression/Pictures.h"

#include <cstring>
#include <random>
#include <tuple>

using namespace platform;
using namespace pictures;

namespace {

ImageDescription DescriptionOf(const char* codec, int32_t width, int32_t height, int32_t depth = 24)
{
    ImageDescription description;
    description.codec = CodeOf(codec);
    description.width = width;
    description.height = height;
    description.depth = depth;
    return description;
}

Result Decode(const ImageDescription& description, std::span<const uint8_t> frame, const TestPort& port)
{
    const auto decoder = FrameDecoder::Create(description);
    return decoder ? decoder->Decode(frame, port.Pixels()) : noCodecErr;
}

ImageDescription Described()
{
    ImageDescription description;
    description.codec = CodeOf("2vuy");
    description.width = 640;
    description.height = 480;
    description.spatialQuality = 700;
    description.rowBytes = 1344;
    description.name = "A name that is longer than one record can hold";
    return description;
}

void Corrupt(std::vector<uint8_t>& frame, std::mt19937& random)
{
    for (auto flips = random() % 20; flips > 0; --flips) {
        // Half of the faults go into the headers, where they do most.
        const size_t reach = random() % 2 == 0 ? std::min<size_t>(frame.size(), 700) : frame.size();
        frame[random() % reach] ^= static_cast<uint8_t>(1U << random() % 8);
    }
    if (random() % 3 == 0)
        frame.resize(1 + random() % frame.size());
}

} // namespace

TEST(FrameDecoder, RawRowsAreTakenAsTheyLie)
{
    // Alpha first, with rows further apart than they are long.
    const std::vector<uint8_t> argb = {255, 1, 2, 3, 255, 4, 5, 6, 9, 9, 9, 9, 255, 7, 8, 9, 255, 10, 11, 12};
    const TestPort port(2, 2);
    ImageDescription description = DescriptionOf("raw ", 2, 2, 32);
    description.rowBytes = 12;
    ASSERT_EQ(Decode(description, argb, port), noErr);
    EXPECT_EQ(port.ColorAt(1, 1), (Color{10, 11, 12}));
    description.rowBytes = 7;
    EXPECT_EQ(Decode(description, argb, port), codecBadDataErr);
}

TEST(FrameDecoder, JpegInAllItsForms)
{
    constexpr int32_t width = 64, height = 48;
    const auto jpeg = QuartersJpeg(width, height);
    const TestPort port(width, height);
    using Bytes = std::vector<uint8_t>;
    for (const auto& [name, codec, frame, result] : {std::tuple("plain", "jpeg", jpeg, noErr),
                                                     {"Motion JPEG", "mjpa", jpeg, noErr},
                                                     {"no tables", "jpeg", WithoutHuffmanTables(jpeg), noErr},
                                                     {"another size", "jpeg", QuartersJpeg(width, 40), codecSizeErr},
                                                     {"no JPEG", "jpeg", Bytes(500, 7), codecBadDataErr},
                                                     {"nothing", "jpeg", Bytes(), codecBadDataErr}}) {
        port.Clear();
        ASSERT_EQ(Decode(DescriptionOf(codec, width, height), frame, port), result) << name;
        if (result == noErr)
            ExpectQuarters(port, 10, name);
    }
}

// A frame of scans without end would hold the decoder up.
TEST(FrameDecoder, TooManyScansAreTold)
{
    for (const auto& [kind, scans, tooMany] :
         {std::tuple(0xC2, 51, true), {0xC2, 50, false}, {0xC0, 51, false}, {0xCA, 51, true}}) {
        std::vector<uint8_t> jpeg{0xFF, 0xD8, 0xFF, 0xDB, 0, 2, 0xFF, static_cast<uint8_t>(kind), 0, 2};
        for (int i = 0; i < scans; ++i)
            jpeg.insert(jpeg.end(), {0xFF, 0xDA, 0, 2});
        EXPECT_EQ(HasTooManyScans(jpeg), tooMany) << kind << " " << scans;
    }
}

TEST(FrameDecoder, TwoFieldsAreWoven)
{
    std::vector<uint8_t> frame;
    for (const Color& color : {kRed, kBlue}) {
        std::vector<uint8_t> pixels(64 * 24 * 3);
        for (size_t i = 0; i < pixels.size(); ++i)
            pixels[i] = static_cast<uint8_t>(std::array{color.red, color.green, color.blue}[i % 3]);
        const auto field = FrameCompressor::Create({})->Compress({pixels, kRGB24PixelFormat, 64, 24});
        frame.insert(frame.end(), field.Bytes().begin(), field.Bytes().end());
    }
    const TestPort port(64, 48);
    ASSERT_EQ(Decode(DescriptionOf("mjpa", 64, 48), frame, port), noErr);
    for (int32_t y = 10; y < 30; ++y)
        EXPECT_LE(Distance(port.ColorAt(20, y), y % 2 == 0 ? kRed : kBlue), 16) << y << port.ColorAt(20, y);
}

// Damaged frames of every kind of decoder end in a result, and a sound frame after them shows as if nothing had been.
TEST(FrameDecoder, CorruptedFramesHarmNeitherMemoryNorTheNextFrame)
{
    constexpr int32_t width = 96, height = 64;
    const auto pixels = Quarters(kYuvsPixelFormat, width, height);
    std::mt19937 random(20);
    for (const auto& [codec, share] : {std::pair(CodeOf("jpeg"), 1), {CodeOf("png "), 10}, {CodeOf("apcn"), 10}}) {
        const auto compressor = FrameCompressor::Create({.codec = codec});
        const OwnedBlock block = compressor->Compress({pixels, kYuvsPixelFormat, width, height});
        const std::vector<uint8_t> whole(block.Bytes().begin(), block.Bytes().end());
        const auto bare = codec == CodeOf("jpeg") ? WithoutHuffmanTables(whole) : whole;
        const auto decoder = FrameDecoder::Create(compressor->Description(width, height));
        const TestPort port(width, height);
        int refused = 0;
        const int frames = 400 / share;
        for (int i = 0; i < frames; ++i) {
            auto frame = i % 2 == 0 ? whole : bare;
            Corrupt(frame, random);
            const Result result = decoder->Decode(frame, port.Pixels());
            EXPECT_TRUE(result == noErr || result == codecBadDataErr || result == codecSizeErr) << result;
            refused += result == noErr ? 0 : 1;
            if (i % 16 != 0)
                continue;
            port.Clear();
            ASSERT_EQ(decoder->Decode(whole, port.Pixels()), noErr) << TextOf(codec) << " after frame " << i;
            ExpectQuarters(port, 10, TextOf(codec));
        }
        EXPECT_GT(refused, frames / 20) << TextOf(codec);
    }
}

TEST(ImageDescription, TheRecordHoldsEveryFieldAtItsPlace)
{
    const ImageDescription description = Described();
    const auto record = RecordOf(description);
    ASSERT_EQ(record.size(), 86U + 12);
    // Kind, spatial quality, width and height, and depth, each at its place.
    for (const auto& [at, bytes] :
         {std::pair(4, "yuv2"), {28, "\xBC\x02\0\0"}, {32, "\x80\x02\xE0\x01"}, {82, "\x18\0\xFF\xFF"}})
        EXPECT_EQ(std::memcmp(record.data() + at, bytes, 4), 0) << at;
    ImageDescription read;
    ASSERT_TRUE(ReadImageDescription(record, read));
    EXPECT_EQ(read.name, description.name.substr(0, 31));
    EXPECT_EQ(RecordOf(read), record);
}

TEST(ImageDescription, ImpossibleRecordsAreRefused)
{
    const ImageDescription description = Described();
    for (const auto& [name, offset, value, accepted] : {std::tuple("largest", 32, 16384, true),
                                                        {"too wide", 32, 16385, false},
                                                        {"no width", 32, 0, false},
                                                        {"negative height", 34, -480, false},
                                                        {"size too small", 0, 85, false},
                                                        {"size beyond the bytes", 0, 255, false},
                                                        {"name's length beyond its room", 50, 255, true}}) {
        auto record = RecordOf(description);
        std::memcpy(record.data() + offset, &value, 2);
        ImageDescription read;
        EXPECT_EQ(ReadImageDescription(record, read), accepted) << name;
        EXPECT_LE(read.name.size(), 31U) << name;
    }
    const auto record = RecordOf(description);
    for (size_t size = 0; size < record.size(); ++size) {
        ImageDescription read;
        EXPECT_FALSE(ReadImageDescription(std::span(record).first(size), read)) << size;
    }
}
