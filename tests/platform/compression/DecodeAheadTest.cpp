// SPDX-License-Identifier: MIT
#include "platform/compression/DecodeAhead.h"

#include "platform/compression/DecompressionSequence.h"
#include "platform/compression/Pictures.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

using namespace platform;
using namespace pictures;

namespace {

constexpr int32_t kWidth = 163, kHeight = 97;

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
        std::ranges::copy(jpeg, frame.Bytes().begin());
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

    std::unique_ptr<DecodedPicture> Decoded(int32_t factor) const
    {
        PictureDecoder decoder;
        std::unique_ptr<DecodedPicture> made;
        EXPECT_EQ(decoder.Decode(FrameOf(jpeg), JpegImage(), factor, made), noErr);
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
    const OwnedBlock number{4}, frame{static_cast<int64_t>(jpeg.size())};
    const TestPort port{kWidth, kHeight};
    Handle description = NewHandle(0);
};

} // namespace

TEST_F(PictureInHand, BecomesThePortsByExchangeAndIsReadWholeWhereItIsReduced)
{
    ASSERT_EQ(Show(), noErr);
    const auto expected = Colors();
    for (const int32_t factor : {1, 2, 4, 8}) {
        SCOPED_TRACE(factor);
        port.Clear();
        auto made = Decoded(factor);
        EXPECT_EQ(made->picture.pixels.width, ReducedSide(kWidth, factor));
        const Address block = made->picture.block.Get();
        const FrameInHand known(frame.Get(), JpegImage(), true, std::move(made));
        ASSERT_EQ(Show(), noErr);
        const Address base = GetPixBaseAddr(GetGWorldPixMap(port.Number()));
        EXPECT_EQ(base == block, factor == 1);
        const auto shown = PictureWithBase(base);
        EXPECT_EQ(shown->pixels.width, ReducedSide(kWidth, factor));
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
        auto made = Decoded(2);
        made->description.width = 100; // the device changed its size meanwhile
        const FrameInHand known(frame.Get(), JpegImage(), true, std::move(made));
        EXPECT_EQ(Show(), noErr);
        EXPECT_EQ(PictureWithBase(GetPixBaseAddr(GetGWorldPixMap(port.Number())))->pixels.width, kWidth);
    }
    std::fill_n(frame.Bytes().begin(), 100, uint8_t{0});
    EXPECT_EQ(Show(), codecBadDataErr);
    EXPECT_EQ(Colors(), expected);
    // A reduced picture whose frame can't be decoded again is enlarged.
    auto made = Decoded(2);
    made->frame = FrameOf({1, 2, 3});
    const FrameInHand known(frame.Get(), JpegImage(), true, std::move(made));
    ASSERT_EQ(Show(), noErr);
    EXPECT_LE(Distance(port.ColorAt(10, 10), kRed), 12);
    EXPECT_LE(Distance(port.ColorAt(150, 90), kWhite), 12);
}

TEST(DecodeAhead, LeavesFramesOutWhenItsPicturesAreNotTakenAndShowsLateOnes)
{
    const auto jpeg = QuartersJpeg(kWidth, kHeight);
    DecodeAhead ahead;
    ahead.SetReduction(2);
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
        EXPECT_TRUE(!picture || picture->picture.pixels.width == ReducedSide(kWidth, 2));
    }
    // None of bytes that are no frame, of another size, or of no size; the one after is whole.
    const auto bad = ahead.Submit(FrameOf({0xFF, 0xD8, 0xFF}), JpegImage());
    const auto other = ahead.Submit(FrameOf(QuartersJpeg(40, 30)), JpegImage());
    const auto good = ahead.Submit(FrameOf(jpeg), JpegImage());
    wait(*good);
    EXPECT_FALSE(ahead.Take(*bad));
    EXPECT_FALSE(ahead.Take(*other));
    EXPECT_TRUE(ahead.Take(*good));
    // Frames that are handed over at once, before the picture can be done: a later one brings a late picture.
    bool lateCame = false;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!lateCame && std::chrono::steady_clock::now() < end)
        lateCame = ahead.Take(*ahead.Submit(FrameOf(jpeg), JpegImage())) != nullptr;
    EXPECT_TRUE(lateCame);
}
