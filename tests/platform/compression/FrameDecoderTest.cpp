#include "platform/compression/LibavOwners.h"
#include "platform/compression/Pictures.h"

#include <gtest/gtest.h>
#include <turbojpeg.h>

#include <random>

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

void ExpectQuarters(const TestPort& port, int tolerance, const std::string& name)
{
    const auto pixels = port.Pixels();
    for (const auto& [x, y] : QuarterCentres(pixels.width, pixels.height)) {
        const Color expected = QuarterColor(x, y, pixels.width, pixels.height);
        EXPECT_LE(Distance(port.ColorAt(x, y), expected), tolerance)
            << name << " at " << x << "," << y << ": " << port.ColorAt(x, y) << " for " << expected;
    }
}

// The frame with its Huffman tables cut out, as many cameras deliver it.
std::vector<uint8_t> WithoutHuffmanTables(const std::vector<uint8_t>& jpeg)
{
    std::vector<uint8_t> result = {0xFF, 0xD8};
    for (size_t at = 2; at + 4 < jpeg.size();) {
        const size_t size = jpeg[at + 1] == 0xDA ? jpeg.size() - at : 2U + jpeg[at + 2] * 256U + jpeg[at + 3];
        if (jpeg[at + 1] != 0xC4)
            result.insert(result.end(), jpeg.begin() + static_cast<ptrdiff_t>(at),
                          jpeg.begin() + static_cast<ptrdiff_t>(at + size));
        at += size;
    }
    return result;
}

std::vector<uint8_t> ProgressiveJpeg(int32_t width, int32_t height)
{
    auto pixels = Quarters(kPixelFormat32, width, height);
    tjhandle turbo = tjInitCompress();
    uint8_t* bytes = nullptr;
    unsigned long size = 0;
    tjCompress2(turbo, pixels.data(), width, 0, height, TJPF_BGRX, &bytes, &size, TJSAMP_422, 90, TJFLAG_PROGRESSIVE);
    std::vector<uint8_t> result(bytes, bytes + size);
    tjFree(bytes);
    tjDestroy(turbo);
    return result;
}

// The same with its last scan told over and over.
std::vector<uint8_t> WithScansRepeated(std::vector<uint8_t> jpeg, int times)
{
    size_t last = 0;
    for (size_t at = 0; at + 1 < jpeg.size(); ++at)
        if (jpeg[at] == 0xFF && jpeg[at + 1] == 0xDA)
            last = at;
    const std::vector<uint8_t> scan(jpeg.begin() + static_cast<ptrdiff_t>(last), jpeg.end() - 2);
    jpeg.resize(jpeg.size() - 2);
    for (int i = 0; i < times; ++i)
        jpeg.insert(jpeg.end(), scan.begin(), scan.end());
    jpeg.insert(jpeg.end(), {0xFF, 0xD9});
    return jpeg;
}

int CorruptFrames()
{
    const char* number = std::getenv("VELMORA_CORRUPT_FRAMES");
    return number == nullptr ? 400 : std::atoi(number);
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

TEST(FrameDecoder, RawLayoutsShowTheirColours)
{
    struct Case {
        const char* codec;
        int32_t depth;
        FourCharCode layout;
    };
    for (const Case& c :
         {Case{"BGRA", 32, 32}, Case{"raw ", 24, kRGB24PixelFormat}, Case{"24BG", 24, kBGR24PixelFormat},
          Case{"2vuy", 24, k2vuyPixelFormat}, Case{"yuvs", 24, kYuvsPixelFormat}, Case{"y420", 24, kY420PixelFormat},
          Case{"nv12", 24, kNV12PixelFormat}}) {
        for (const auto& [width, height] : {std::pair{16, 12}, std::pair{37, 9}}) {
            const TestPort port(width, height);
            auto bytes = Quarters(c.layout, width, height);
            ImageDescription description = DescriptionOf(c.codec, width, height, c.depth);
            ASSERT_EQ(Decode(description, bytes, port), noErr) << c.codec;
            ExpectQuarters(port, 4, c.codec);
            bytes.pop_back();
            EXPECT_EQ(Decode(description, bytes, port), codecBadDataErr) << c.codec;
        }
    }
    // Alpha first, with rows further apart than they are long.
    const std::vector<uint8_t> argb = {255, 1, 2, 3, 255, 4, 5, 6, 9, 9, 9, 9, 255, 7, 8, 9, 255, 10, 11, 12};
    const TestPort port(2, 2);
    ImageDescription description = DescriptionOf("raw ", 2, 2, 32);
    description.rowBytes = 12;
    ASSERT_EQ(Decode(description, argb, port), noErr);
    EXPECT_EQ(port.ColorAt(1, 0), (Color{4, 5, 6}));
    EXPECT_EQ(port.ColorAt(1, 1), (Color{10, 11, 12}));
    description.rowBytes = 7;
    EXPECT_EQ(Decode(description, argb, port), codecBadDataErr);
    const std::vector<uint8_t> grey = {0, 128, 255, 77};
    ASSERT_EQ(Decode(DescriptionOf("grey", 2, 2, 40), grey, port), noErr);
    EXPECT_EQ(port.ColorAt(1, 1), (Color{77, 77, 77}));
    EXPECT_EQ(port.ColorAt(0, 1), (Color{255, 255, 255}));
    EXPECT_EQ(FrameDecoder::Create(DescriptionOf("what", 2, 2)), nullptr);
    EXPECT_EQ(FrameDecoder::Create(DescriptionOf("raw ", 2, 2, 8)), nullptr);
}

TEST(FrameDecoder, JpegInAllItsForms)
{
    constexpr int32_t width = 64, height = 48;
    const auto jpeg = QuartersJpeg(width, height);
    auto padded = jpeg;
    padded.resize(jpeg.size() + 1000);
    const auto progressive = ProgressiveJpeg(width, height);
    const TestPort port(width, height);
    struct Case {
        const char* name;
        const char* codec;
        std::vector<uint8_t> frame;
        Result result;
    };
    for (const Case& c : {Case{"plain", "jpeg", jpeg, noErr}, Case{"Motion JPEG", "mjpa", jpeg, noErr},
                          Case{"no tables", "jpeg", WithoutHuffmanTables(jpeg), noErr},
                          Case{"bytes behind", "jpeg", padded, noErr}, Case{"progressive", "jpeg", progressive, noErr},
                          Case{"progressive without end", "jpeg", WithScansRepeated(progressive, 45), codecBadDataErr},
                          Case{"another size", "jpeg", QuartersJpeg(width, 40), codecSizeErr},
                          Case{"no JPEG", "jpeg", std::vector<uint8_t>(500, 7), codecBadDataErr},
                          Case{"nothing", "jpeg", {}, codecBadDataErr}}) {
        port.Clear();
        ASSERT_EQ(Decode(DescriptionOf(c.codec, width, height), c.frame, port), c.result) << c.name;
        if (c.result == noErr)
            ExpectQuarters(port, 10, c.name);
    }
    ASSERT_LT(WithoutHuffmanTables(jpeg).size() + 400, jpeg.size());
    // A port of another size is refused before anything is written to it.
    const TestPort other(width - 1, height);
    EXPECT_EQ(Decode(DescriptionOf("jpeg", width, height), jpeg, other), paramErr);
    EXPECT_EQ(other.ColorAt(0, 0), Color{});
}

TEST(FrameDecoder, TwoFieldsAreWoven)
{
    std::vector<uint8_t> frame;
    for (const Color& color : {kRed, kBlue}) {
        std::vector<uint8_t> pixels;
        for (int i = 0; i < 64 * 24; ++i)
            pixels.insert(pixels.end(), {static_cast<uint8_t>(color.red), static_cast<uint8_t>(color.green),
                                         static_cast<uint8_t>(color.blue)});
        const auto field = FrameCompressor::Create({})->Compress({pixels, kRGB24PixelFormat, 64, 24});
        frame.insert(frame.end(), field.Bytes().begin(), field.Bytes().end());
    }
    const TestPort port(64, 48);
    ASSERT_EQ(Decode(DescriptionOf("mjpa", 64, 48), frame, port), noErr);
    for (int32_t y = 10; y < 30; ++y)
        EXPECT_LE(Distance(port.ColorAt(20, y), y % 2 == 0 ? kRed : kBlue), 16) << y << port.ColorAt(20, y);
}

// A codec that can't do without the set-up that its description holds, here within the nested descriptors of "esds".
TEST(FrameDecoder, SetUpComesFromTheDescription)
{
    constexpr int32_t width = 64, height = 48;
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_FFV1);
    const CodecContextOwner encoder(avcodec_alloc_context3(codec));
    const FrameOwner picture(av_frame_alloc());
    const PacketOwner packet(av_packet_alloc());
    auto pixels = Quarters(kPixelFormat32, width, height);
    picture->format = encoder->pix_fmt = AV_PIX_FMT_BGR0;
    picture->width = encoder->width = width;
    picture->height = encoder->height = height;
    picture->data[0] = pixels.data();
    picture->linesize[0] = width * 4;
    encoder->time_base = {1, 25};
    encoder->level = 3;
    ASSERT_EQ(avcodec_open2(encoder.get(), codec, nullptr), 0);
    ASSERT_EQ(avcodec_send_frame(encoder.get(), picture.get()), 0);
    ASSERT_EQ(avcodec_receive_packet(encoder.get(), packet.get()), 0);
    const std::span<const uint8_t> frame(packet->data, static_cast<size_t>(packet->size));

    const auto size = static_cast<uint8_t>(encoder->extradata_size);
    std::vector<uint8_t> atom = {0, 0, 0, 0, 'e', 's', 'd', 's', 0, 0, 0, 0, 3, 0x80, 0x80, 0x80, 60, 0, 1, 0, 4, 50};
    atom.resize(atom.size() + 13);
    atom.insert(atom.end(), {5, 0x80, size});
    atom.insert(atom.end(), encoder->extradata, encoder->extradata + size);
    atom[3] = static_cast<uint8_t>(atom.size());
    ImageDescription description = DescriptionOf("FFV1", width, height);
    description.extensions = atom;
    const TestPort port(width, height);
    ASSERT_EQ(Decode(description, frame, port), noErr);
    ExpectQuarters(port, 0, "FFV1");
    while (description.extensions.size() > 9) {
        description.extensions.pop_back();
        --description.extensions[3];
        EXPECT_NE(Decode(description, frame, port), noErr) << description.extensions.size();
    }
}

// A frame cut short shows as far as it goes.
TEST(FrameDecoder, TheStartOfATruncatedFrameShows)
{
    auto jpeg = QuartersJpeg(640, 480);
    jpeg.resize(jpeg.size() * 3 / 4);
    const TestPort port(640, 480);
    ASSERT_EQ(Decode(DescriptionOf("jpeg", 640, 480), jpeg, port), noErr);
    EXPECT_LE(Distance(port.ColorAt(100, 100), kRed), 10);
    EXPECT_GE(Distance(port.ColorAt(600, 470), kWhite), 10);
}

// Damaged frames of every kind of decoder end in a result, and a sound frame after them shows as if nothing had been.
TEST(FrameDecoder, CorruptedFramesHarmNeitherMemoryNorTheNextFrame)
{
    struct Case {
        FourCharCode codec;
        int share; ///< of the number of frames
    };
    constexpr int32_t width = 96, height = 64;
    const auto pixels = Quarters(kYuvsPixelFormat, width, height);
    std::mt19937 random(20);
    for (const Case& c : {Case{CodeOf("jpeg"), 1}, Case{CodeOf("png "), 10}, Case{CodeOf("apcn"), 10}}) {
        const auto compressor = FrameCompressor::Create({.codec = c.codec});
        const OwnedBlock block = compressor->Compress({pixels, kYuvsPixelFormat, width, height});
        const std::vector<uint8_t> whole(block.Bytes().begin(), block.Bytes().end());
        const auto bare = c.codec == CodeOf("jpeg") ? WithoutHuffmanTables(whole) : whole;
        const auto decoder = FrameDecoder::Create(compressor->Description(width, height));
        const TestPort port(width, height);
        int refused = 0;
        const int frames = CorruptFrames() / c.share;
        for (int i = 0; i < frames; ++i) {
            auto frame = i % 2 == 0 ? whole : bare;
            Corrupt(frame, random);
            const Result result = decoder->Decode(frame, port.Pixels());
            EXPECT_TRUE(result == noErr || result == codecBadDataErr || result == codecSizeErr) << result;
            refused += result == noErr ? 0 : 1;
            if (i % 16 != 0)
                continue;
            port.Clear();
            ASSERT_EQ(decoder->Decode(whole, port.Pixels()), noErr) << TextOf(c.codec) << " after frame " << i;
            ExpectQuarters(port, 10, TextOf(c.codec));
        }
        EXPECT_GT(refused, frames / 20) << TextOf(c.codec);
    }
}
