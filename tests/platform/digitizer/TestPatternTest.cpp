// SPDX-License-Identifier: MIT
#include "platform/digitizer/testpattern/TestPattern.h"
#include "support/FrameCollector.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <libyuv.h>
#include <random>

using namespace platform;

namespace {

// A picture of 32-bit pixels.
struct Pixels {
    Pixels(int32_t width, int32_t height)
        : bytes(static_cast<size_t>(width) * static_cast<size_t>(height) * 4), width(width), height(height)
    {
    }
    PatternSurface Surface() { return {bytes.data(), kPixelFormat32, width, height, width * 4}; }
    std::optional<uint32_t> Number() const { return ReadFrameNumber(bytes.data(), width, height, width * 4); }
    std::optional<PatternCorner> Corner(PatternCorner place) const
    {
        return ReadCornerMark(place, bytes.data(), width, height, width * 4);
    }

    std::vector<uint8_t> bytes;
    int32_t width;
    int32_t height;
};

constexpr PatternCorner kCorners[] = {PatternCorner::TopLeft, PatternCorner::TopRight, PatternCorner::BottomLeft,
                                      PatternCorner::BottomRight};

Pixels Drawn(int32_t width, int32_t height, uint32_t number, bool flash)
{
    Pixels pixels(width, height);
    DrawPatternBackground(pixels.Surface(), flash);
    DrawPatternFrame(pixels.Surface(), number, flash);
    return pixels;
}

Pixels Scaled(const Pixels& from, int32_t width, int32_t height)
{
    Pixels to(width, height);
    libyuv::ARGBScale(from.bytes.data(), from.width * 4, from.width, from.height, to.bytes.data(), width * 4, width,
                      height, libyuv::kFilterBilinear);
    return to;
}

TEST(TestPatternLayout, NumbersReadBackFromEverySizeFlashedOrNot)
{
    for (const uint32_t number : {0U, 1U, 0x12345678U, 0xAAAAAAAAU, 0xFFFFFFFFU})
        for (const auto& [width, height] :
             {std::pair(160, 60), std::pair(640, 480), std::pair(1366, 768), std::pair(2000, 60), std::pair(160, 1200)})
            for (const bool flash : {false, true}) {
                const Pixels pixels = Drawn(width, height, number, flash);
                EXPECT_EQ(pixels.Number(), number) << width << "x" << height;
                EXPECT_EQ(ReadFlash(pixels.bytes.data(), width, height, width * 4), flash);
                EXPECT_EQ(Scaled(pixels, 320, 240).Number(), number) << width << "x" << height;
                for (const auto corner : kCorners)
                    EXPECT_EQ(pixels.Corner(corner), corner);
            }
}

TEST(TestPatternLayout, ReadsNothingFromTornOrOtherPictures)
{
    // The upper row of cells of one frame, the lower one of the next.
    Pixels torn = Drawn(640, 480, 78, false), noise(640, 480);
    std::copy_n(Drawn(640, 480, 77, false).bytes.begin(), 2560 * 400, torn.bytes.begin());
    std::minstd_rand random(7);
    std::ranges::generate(noise.bytes, [&] { return static_cast<uint8_t>(random()); });
    for (const Pixels& pixels : {torn, noise, Pixels(640, 480), Pixels(8, 8)})
        EXPECT_EQ(pixels.Number(), std::nullopt);
    EXPECT_EQ(noise.Corner(PatternCorner::TopLeft), std::nullopt);
}

TEST(FrameGrid, TimesAreExactAndFlashesComeOnceASecond)
{
    for (const double rate : {15.0, 25.0, 29.97, 30.0, 50.0, 59.94, 60.0, 12.5}) {
        const FrameGrid grid = FrameGrid::ForRate(rate);
        const int64_t start = grid.FrameAt(int64_t{86400} * 365 * 1'000'000'000);
        int flashes = 0;
        for (int64_t frame = start; frame < start + 10 * std::llround(rate); ++frame) {
            EXPECT_EQ(grid.FrameAt(grid.TimeOf(frame)), frame);
            EXPECT_EQ(grid.FrameAt(grid.TimeOf(frame + 1) - 1), frame);
            flashes += grid.IsFlash(frame) ? 1 : 0;
            const int64_t intoSecond = grid.TimeOf(frame) % 1'000'000'000;
            EXPECT_EQ(grid.IsFlash(frame), intoSecond < grid.TimeOf(frame) - grid.TimeOf(frame - 1));
        }
        EXPECT_NEAR(flashes, 10, 1) << rate;
    }
}

TEST(TestPattern, DeliversNumberedFramesOnTheGridInBothFormats)
{
    for (const FourCharCode format : {k2vuyPixelFormat, CodeOf("jpeg")}) {
        TestPattern pattern;
        FrameCollector frames;
        ASSERT_EQ(pattern.SetFormat({format, 600, 500, 61}), noErr);
        EXPECT_EQ(pattern.Format(), (CaptureFormat{format, 640, 480, 60}));
        ASSERT_EQ(pattern.Start(frames), noErr);
        ASSERT_TRUE(frames.WaitFor(70));
        // A change in mid-run: sequence numbers go on, and the frames are numbered from 0 again.
        ASSERT_EQ(pattern.SetFormat({format, 1280, 720, 29.97}), noErr);
        ASSERT_TRUE(frames.WaitFor(frames.Seen().size() + 3));
        pattern.Stop();
        const auto seen = frames.Seen();
        bool flashed = false;
        uint32_t firstOfRun = 0;
        for (size_t i = 0; i < seen.size(); ++i) {
            const FrameGrid grid = FrameGrid::ForRate(seen[i].width == 640 ? 60 : 29.97);
            if (i > 0 && seen[i].width != seen[i - 1].width)
                firstOfRun = seen[i].sequence;
            EXPECT_EQ(seen[i].number, seen[i].sequence - firstOfRun);
            EXPECT_EQ(seen[i].format, format);
            EXPECT_EQ(grid.TimeOf(grid.FrameAt(seen[i].captureTime)), seen[i].captureTime);
            EXPECT_EQ(seen[i].flash, grid.IsFlash(grid.FrameAt(seen[i].captureTime)));
            EXPECT_GE(seen[i].arrival, seen[i].captureTime);
            EXPECT_GE(seen[i].sequence, i == 0 ? 0 : seen[i - 1].sequence + 1);
            flashed |= seen[i].flash;
        }
        EXPECT_TRUE(flashed);
        EXPECT_EQ(seen.front().sequence, 0U);
        EXPECT_EQ(seen.back().width, 1280);
    }
}

} // namespace
