#include "framework/Picture.h"
#include "framework/Support.h"
#include "platform/memory/Handles.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>

namespace framework {
namespace {

constexpr Color kWhite{255, 255, 255};
constexpr Color kRed{255, 0, 0};

QRect ChangedPixels(const QImage& image)
{
    QRect changed;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (image.pixel(x, y) != 0xFFFFFFFF)
                changed |= QRect(x, y, 1, 1);
    return changed;
}

TEST(Graphics, FillsAndFramesInsideItsRectangleOnly)
{
    const int32_t huge = std::numeric_limits<int32_t>::max();
    const struct {
        int32_t x, y, width, height;
        QRect expected; // in the port, whose pixels 10, 5 to 29, 14 are the rectangle
    } cases[] = {
        {0, 0, 20, 10, {10, 5, 20, 10}},
        {2, 3, 4, 5, {12, 8, 4, 5}},
        {-3, -3, 5, 5, {10, 5, 2, 2}},
        {15, 5, 100, 100, {25, 10, 5, 5}},
        {0, 0, 0, 5, {}},
        {3, 3, -2, 5, {}},
        {5, 5, huge, huge, {15, 10, 15, 5}},
        {huge, huge, huge, huge, {}},
        {-huge, -huge, huge, huge, {}},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(&each - cases);
        Picture picture(40, 20);
        Graphics graphics(picture.RGBSurface(), {10, 5, 20, 10});
        graphics.ForeColor(kRed);
        graphics.FillRect(each.x, each.y, each.width, each.height);
        EXPECT_EQ(ChangedPixels(picture.Image()), each.expected);
    }
    Picture picture(40, 20);
    picture.Graphics().ForeColor(kRed);
    picture.Graphics().DrawRect(0, 0, 40, 20);
    EXPECT_EQ(PixelAt(picture.RGBSurface(), 39, 19), kRed);
    EXPECT_EQ(PixelAt(picture.RGBSurface(), 0, 10), kRed);
    EXPECT_EQ(PixelAt(picture.RGBSurface(), 1, 1), kWhite) << "the frame is one pixel wide";
    EXPECT_EQ(PixelAt(picture.RGBSurface(), 38, 18), kWhite);
}

TEST(Graphics, TextStandsOnItsBaselineAndInItsMeasures)
{
    Picture picture(300, 120);
    Graphics& graphics = picture.Graphics();
    graphics.TextFont("Arial");
    graphics.TextSize(24);
    const double plain = graphics.StringWidth("12:34:56");
    graphics.Bold(true);
    EXPECT_GT(graphics.StringWidth("12:34:56"), plain);
    const int32_t height = graphics.StringHeight("12:34:56", 0);
    EXPECT_GT(height, 20);
    graphics.DrawString("12:34:56", 50, 60);
    const QRect ink = ChangedPixels(picture.Image());
    EXPECT_GE(ink.left(), 49);
    EXPECT_LE(ink.right(), 50 + graphics.StringWidth("12:34:56"));
    EXPECT_NEAR(ink.bottom(), 60, 1) << "digits stand on the baseline";
    EXPECT_GT(ink.height(), 12);

    graphics.TextSize(12);
    EXPECT_EQ(graphics.StringHeight("", 0), graphics.StringHeight("x", 0));
    const auto width = static_cast<int32_t>(graphics.StringWidth("wide"));
    EXPECT_EQ(graphics.StringHeight("wide wide wide", width + 4), 3 * graphics.StringHeight("x", 0));
    EXPECT_EQ(graphics.StringHeight("wide wide wide", 0), graphics.StringHeight("x", 0));
    EXPECT_GT(graphics.StringHeight("unbreakable", width), graphics.StringHeight("x", 0));
}

TEST(Graphics, BreaksOrCondensesAtTheWrapWidth)
{
    Picture wrapped(200, 100);
    wrapped.Graphics().DrawString("words and words and words", 10, 20, 60, false);
    const QRect lines = ChangedPixels(wrapped.Image());
    EXPECT_LE(lines.right(), 71);
    EXPECT_GT(lines.height(), wrapped.Graphics().StringHeight("x", 0));

    Picture condensed(200, 100);
    condensed.Graphics().DrawString("words and words and words", 10, 20, 60, true);
    const QRect line = ChangedPixels(condensed.Image());
    EXPECT_LE(line.right(), 71);
    EXPECT_LE(line.height(), condensed.Graphics().StringHeight("x", 0));
}

TEST(Graphics, FollowsItsPort)
{
    const auto port = platform::NewPort(10, 10);
    Graphics graphics(port, {0, 0, 1000, 1000});
    EXPECT_EQ(graphics.Handle(2), port);
    EXPECT_EQ(graphics.Handle(1), 0);
    graphics.ForeColor(kRed);
    graphics.FillRect(0, 0, 10, 10);
    graphics.DrawString("text", 0, 9);
    platform::ResizePort(port, 400, 300);
    graphics.FillRect(390, 290, 50, 50);
    EXPECT_EQ(PixelAt(port, 399, 299), kRed);
    platform::ReleasePort(port);
    graphics.FillRect(0, 0, 10, 10);
    graphics.DrawString("text", 0, 9);
}

TEST(Picture, IsWhiteAndRefusesSizesWithoutAPort)
{
    Picture picture(3, 2);
    EXPECT_EQ(picture.Width(), 3);
    EXPECT_EQ(picture.Height(), 2);
    EXPECT_EQ(picture.Image().pixel(2, 1), 0xFFFFFFFF);
    EXPECT_GT(platform::GetPixBaseAddr(platform::GetGWorldPixMap(picture.RGBSurface())), 0);
    for (const auto& [width, height] : {std::pair{0, 5}, {5, -1}, {20000, 5}})
        EXPECT_THROW(Picture(width, height), RuntimeException);
    EXPECT_THROW(Picture(5, 5, 16), RuntimeException);
}

// The handle of a picture of 2 by 2 pixels behind a description of 90 bytes.
std::vector<uint8_t> PictureBytes()
{
    std::vector<uint8_t> bytes(90 + 16);
    const int32_t size = 90;
    const int16_t side = 2;
    std::memcpy(bytes.data(), &size, 4);
    std::memcpy(bytes.data() + 32, &side, 2);
    std::memcpy(bytes.data() + 34, &side, 2);
    bytes[90 + 12] = 1; // blue, green, red of the last pixel
    bytes[90 + 13] = 2;
    bytes[90 + 14] = 3;
    return bytes;
}

TEST(Picture, ComesFromAPictureHandle)
{
    const auto handle = platform::NewHandle(0);
    platform::SetHandleBytes(handle, PictureBytes());
    const auto picture = Picture::FromPicHandle(handle, 1);
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->Width(), 2);
    EXPECT_EQ(picture->Image().pixel(1, 1), qRgb(3, 2, 1));
    EXPECT_EQ(picture->Image().pixel(0, 0), qRgb(0, 0, 0));

    const std::function<void(std::vector<uint8_t>&)> damages[] = {
        [](auto& bytes) { bytes.pop_back(); }, [](auto& bytes) { bytes.resize(85); },
        [](auto& bytes) { bytes.clear(); },    [](auto& bytes) { bytes[0] = 85; },
        [](auto& bytes) { bytes[3] = 0x7F; },  [](auto& bytes) { bytes[3] = 0x80; },
        [](auto& bytes) { bytes[32] = 0; },    [](auto& bytes) { bytes[33] = 0xFF; },
        [](auto& bytes) { bytes[35] = 0x7F; }, [](auto& bytes) { bytes[32] = 3; },
    };
    for (const auto& damage : damages) {
        auto bytes = PictureBytes();
        damage(bytes);
        platform::SetHandleBytes(handle, bytes);
        EXPECT_FALSE(Picture::FromPicHandle(handle, 1)) << &damage - damages;
    }
    platform::DisposeHandle(handle);
    EXPECT_FALSE(Picture::FromPicHandle(handle, 1));
}

} // namespace
} // namespace framework
