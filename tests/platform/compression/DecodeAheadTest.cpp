// SPDX-License-Identifier: MIT
#include "platform/compression/DecodeAhead.h"

#include "platform/compression/DecompressionSequence.h"
#include "platform/compression/Pictures.h"
#include "platform/compression/RawPictures.h"

#include <atomic>
#include <chrono>
#include <thread>

using namespace platform;
using namespace pictures;

namespace {

constexpr int32_t kWidth = 163, kHeight = 97;
constexpr ShownSize kHalf{82, 49};

const ImageDescription& JpegImage()
{
    static const ImageDescription image = DescriptionOfPassThrough(CodeOf("jpeg"), kWidth, kHeight);
    return image;
}

SharedFrame FrameOf(std::vector<uint8_t> bytes)
{
    const auto owner = std::make_shared<std::vector<uint8_t>>(std::move(bytes));
    return {owner, *owner};
}

// A sequence into a port of the frame's size, as the control begins it.
class PictureInHand : public testing::Test {
protected:
    PictureInHand()
    {
        SetHandleBytes(description, RecordOf(JpegImage()));
        EXPECT_EQ(DecompressSequenceBeginS(number.Get(), description, 0, 0, port.Number(), 0, 0, 0, 0, 0, 0, 0, 0),
                  noErr);
    }
    ~PictureInHand() override
    {
        CDSequenceEnd(Peek<int32_t>(number.Get()));
        DisposeHandle(description);
    }

    Result Show() const
    {
        return DecompressSequenceFrameWhen(Peek<int32_t>(number.Get()), frame.Get(), static_cast<int32_t>(frame.Size()),
                                           0, 0, 0, 0);
    }

    std::unique_ptr<DecodedPicture> Decoded(const ShownSize& size) const
    {
        ReducingDecoder decoder;
        std::unique_ptr<DecodedPicture> made;
        EXPECT_EQ(decoder.Decode(FrameOf(jpeg), JpegImage(), size, made), noErr);
        return made;
    }

    std::vector<Color> Colors() const
    {
        std::vector<Color> colors;
        for (int32_t i = 0; i < kWidth * kHeight; ++i)
            colors.push_back(port.ColorAt(i % kWidth, i / kWidth));
        return colors;
    }

    const std::vector<uint8_t> jpeg = QuartersJpeg(kWidth, kHeight);
    const OwnedBlock number{4}, frame = BlockOf(jpeg);
    const TestPort port{kWidth, kHeight};
    Handle description = NewHandle(0);
};

} // namespace

TEST_F(PictureInHand, BecomesThePortsByExchangeAndIsReadWholeWhereItIsReduced)
{
    ASSERT_EQ(Show(), noErr);
    const auto expected = Colors();
    for (const ShownSize& size : {kWholeSize, {150, 80}, kHalf, {60, 36}, {21, 13}, {8, 97}}) {
        SCOPED_TRACE(size.width);
        port.Clear();
        auto made = Decoded(size);
        const int32_t width = std::min(size.width, kWidth);
        EXPECT_EQ(made->picture.pixels.width, width);
        const Address block = made->picture.block.Get();
        const FrameInHand known(frame.Get(), JpegImage(), true, std::move(made));
        ASSERT_EQ(Show(), noErr);
        const Address base = GetPixBaseAddr(GetGWorldPixMap(port.Number()));
        EXPECT_EQ(base == block, size == kWholeSize);
        const auto shown = PictureWithBase(base);
        EXPECT_EQ(shown->pixels.width, width);
        EXPECT_LE(Distance(ColorIn(shown->pixels, 2, 2), kRed), 12);
        EXPECT_EQ(BytesFrom(base), shown->bytes) << "an address that is read";
        EXPECT_EQ(PictureWithBase(base)->pixels.width, kWidth);
        EXPECT_EQ(Colors(), expected);
    }
}

TEST_F(PictureInHand, AnotherFramesPictureIsNoneAndABrokenFrameLeavesThePictureBefore)
{
    ASSERT_EQ(Show(), noErr);
    const auto expected = Colors();
    {
        auto made = Decoded(kHalf);
        made->description.width = 100; // the device changed its size meanwhile
        const FrameInHand known(frame.Get(), JpegImage(), true, std::move(made));
        EXPECT_EQ(Show(), noErr);
        EXPECT_EQ(PictureWithBase(GetPixBaseAddr(GetGWorldPixMap(port.Number())))->pixels.width, kWidth);
    }
    std::fill_n(frame.Bytes().begin(), 100, uint8_t{0});
    EXPECT_EQ(Show(), codecBadDataErr);
    EXPECT_EQ(Colors(), expected);
    // A reduced picture whose frame can't be decoded again is enlarged.
    auto made = Decoded(kHalf);
    made->frame = FrameOf({1, 2, 3});
    const FrameInHand known(frame.Get(), JpegImage(), true, std::move(made));
    ASSERT_EQ(Show(), noErr);
    EXPECT_LE(Distance(port.ColorAt(10, 10), kRed), 12);
    EXPECT_LE(Distance(port.ColorAt(150, 90), kWhite), 12);
}

// Every kind of frame has the same colours at any size, one pixel included; and the smallest frames are no harm.
TEST(ReducingDecoder, ReducesFramesOfEachKindToAnySize)
{
    struct Case {
        FourCharCode format;
        int32_t width = kWidth, height = kHeight;
    };
    for (const auto& [format, width, height] :
         {Case{kYuvsPixelFormat}, Case{k2vuyPixelFormat}, Case{kY420PixelFormat}, Case{kNV12PixelFormat},
          Case{kRGB24PixelFormat}, Case{kBGR24PixelFormat}, Case{kPixelFormat32}, Case{CodeOf("jpeg")},
          Case{CodeOf("jpeg"), 1, 1}, Case{CodeOf("jpeg"), 1, 480}, Case{CodeOf("jpeg"), 640, 1},
          Case{CodeOf("jpeg"), 3, 2}}) {
        const bool isJpeg = format == CodeOf("jpeg");
        const auto frame = FrameOf(isJpeg ? QuartersJpeg(width, height) : Quarters(format, width, height));
        const ImageDescription image =
            isJpeg ? DescriptionOfPassThrough(format, width, height) : DescriptionOfLayout(format, width, height);
        ReducingDecoder decoder;
        for (const ShownSize& size : {kWholeSize, {150, 90}, kHalf, {40, 24}, {13, 70}, {1, 1}}) {
            SCOPED_TRACE(testing::Message() << TextOf(format) << width << "x" << height << " to " << size.width);
            std::unique_ptr<DecodedPicture> made;
            ASSERT_EQ(decoder.Decode(frame, image, size, made), noErr);
            const PortPixels& pixels = made->picture.pixels;
            EXPECT_EQ(pixels.width, std::min(width, size.width));
            EXPECT_EQ(pixels.height, std::min(height, size.height));
            if (std::min({width, height, size.width, size.height}) < 4)
                continue;
            for (const auto& [x, y] : QuarterCentres(pixels.width, pixels.height))
                EXPECT_LE(Distance(ColorIn(pixels, x, y), QuarterColor(x, y, pixels.width, pixels.height)), 12)
                    << x << "," << y << ColorIn(pixels, x, y);
        }
    }
}

TEST(DecodeAhead, LeavesFramesOutWhenItsPicturesAreNotTakenAndShowsLateOnes)
{
    const auto jpeg = QuartersJpeg(kWidth, kHeight);
    std::atomic<int> done{0};
    DecodeAhead ahead([&] { ++done; });
    ahead.SetShownSize(kHalf);
    std::vector<std::shared_ptr<PictureAhead>> frames;
    const auto wait = [](const PictureAhead& frame) {
        while (frame.IsComing())
            std::this_thread::yield();
    };
    for (int i = 0; i < 6; ++i) {
        frames.push_back(ahead.Submit(FrameOf(jpeg), JpegImage()));
        wait(*frames.back());
    }
    for (size_t i = 0; i < frames.size(); ++i) {
        const auto picture = ahead.Take(*frames[i]);
        EXPECT_EQ(picture != nullptr, i < 3) << i;
        EXPECT_TRUE(!picture || picture->picture.pixels.width == kHalf.width);
    }
    while (done < 6)
        std::this_thread::yield();
    // None of bytes that are no frame, of another size, or of no size; the one after is whole.
    const auto bad = ahead.Submit(FrameOf({0xFF, 0xD8, 0xFF}), JpegImage());
    const auto other = ahead.Submit(FrameOf(QuartersJpeg(40, 30)), JpegImage());
    const auto good = ahead.Submit(FrameOf(jpeg), JpegImage());
    wait(*good);
    EXPECT_FALSE(ahead.Take(*bad));
    EXPECT_FALSE(ahead.Take(*other));
    EXPECT_TRUE(ahead.Take(*good));
    // Frames that are handed over while they are decoded, which takes a while: a later one brings a late picture.
    ahead.SetShownSize(kWholeSize);
    const auto large = QuartersJpeg(1600, 1200);
    const ImageDescription image = DescriptionOfPassThrough(CodeOf("jpeg"), 1600, 1200);
    bool lateCame = false;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    for (int delay = 0; !lateCame && std::chrono::steady_clock::now() < end; delay = (delay + 1) % 30) {
        const SharedFrame frame = FrameOf(large);
        const auto coming = ahead.Submit(frame, image);
        std::this_thread::sleep_for(std::chrono::milliseconds(delay));
        const auto picture = ahead.Take(*coming);
        lateCame = picture && picture->frame.owner != frame.owner;
    }
    EXPECT_TRUE(lateCame);
}
