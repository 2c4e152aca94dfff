// SPDX-License-Identifier: MIT
#include "framework/Picture.h"
#include "framework/Support.h"
#include "platform/memory/Handles.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <optional>

namespace framework {
namespace {

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

TEST(Graphics, FillsInsideItsRectangleOnly)
{
    const int32_t huge = std::numeric_limits<int32_t>::max();
    const struct {
        int32_t x, y, width, height;
        QRect expected; // in the port, whose pixels 10, 5 to 29, 14 are the rectangle
    } cases[] = {
        {2, 3, 4, 5, {12, 8, 4, 5}},         {-3, -3, 5, 5, {10, 5, 2, 2}}, {3, 3, -2, 5, {}},
        {5, 5, huge, huge, {15, 10, 15, 5}}, {huge, huge, huge, huge, {}},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(&each - cases);
        Picture picture(40, 20);
        Graphics graphics(picture.RGBSurface(), {10, 5, 20, 10});
        graphics.ForeColor(kRed);
        graphics.FillRect(each.x, each.y, each.width, each.height);
        EXPECT_EQ(ChangedPixels(picture.Image()), each.expected);
    }
}

TEST(Graphics, TextIsBoldOnlyWhereThatIsAskedFor)
{
    const auto drawn = [](std::optional<bool> bold) {
        Picture picture(100, 30);
        if (bold)
            picture.Graphics().Bold(*bold);
        picture.Graphics().DrawString("Text", 5, 20);
        return picture.Image().copy();
    };
    EXPECT_NE(drawn(true), drawn(false));
    EXPECT_EQ(drawn({}), drawn(false));
}

// Drawing on a reduced picture is visible on it, and repeated exactly on the whole picture.
TEST(Graphics, DrawsOnAReducedPictureAndAgainOnTheWholeOne)
{
    const auto drawAll = [](Graphics& graphics) {
        graphics.ForeColor(kRed);
        graphics.DrawRect(0, 0, graphics.Width(), graphics.Height());
        graphics.FillRect(101, 51, 40, 20);
        graphics.TextSize(24);
        graphics.ForeColor({0, 0, 255});
        graphics.DrawString("10:20:30", 31, 40);
    };
    const auto fill = [](const platform::PortPixels& pixels) {
        for (int32_t y = 0; y < pixels.height; ++y)
            std::memset(pixels.pixels + ptrdiff_t{y} * pixels.rowBytes, 40 + y, static_cast<size_t>(pixels.width) * 4);
        return true;
    };
    Picture whole(203, 121), reduced(203, 121);
    fill(*platform::PixelsOfPort(whole.RGBSurface()));
    drawAll(whole.Graphics());
    for (const int32_t factor : {2, 4, 8}) {
        auto small = platform::PictureBlock::Make((203 + factor - 1) / factor, (121 + factor - 1) / factor);
        const QImage shown = ImageOf(small.pixels);
        fill(small.pixels);
        ASSERT_TRUE(platform::TakeReducedPicture(reduced.RGBSurface(), std::move(small), fill));
        drawAll(reduced.Graphics());
        EXPECT_EQ(shown.pixel(0, 0), qRgb(255, 0, 0));
        EXPECT_EQ(shown.pixel(shown.width() - 1, shown.height() - 1), qRgb(255, 0, 0));
        EXPECT_EQ(shown.pixel(120 / factor, 60 / factor), qRgb(255, 0, 0));
        EXPECT_EQ(reduced.Image(), whole.Image()) << factor;
    }
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
    EXPECT_THROW(Picture(20000, 5), RuntimeException);
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
