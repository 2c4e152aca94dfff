// SPDX-License-Identifier: MIT
#include "control/ControlTest.h"
#include "platform/drawing/Ports.h"
#include "recording/NullMemoryBlock.h"

namespace velmora {
namespace {

TEST_F(ControlTest, BuffersByOrigin)
{
    GWorldWrapper plain(64, 32), placed(5, 7, 64, 32), formed(64, 32, "2vuy"), placedAndFormed(5, 7, 64, 32, "2vuy");
    GWorldWrapper ofWindow(20, 14, 640, 480, &window);
    const auto picture = framework::New<Picture>(33, 11, 32);
    GWorldWrapper ofPicture(picture);
    const struct {
        GWorldWrapper& world;
        platform::FourCharCode format;
        int top, left, bottom, right;
    } cases[] = {
        {plain, 32, 0, 0, 32, 64},
        {placed, 32, 5, 7, 37, 71},
        {formed, platform::k2vuyPixelFormat, 0, 0, 32, 64},
        {placedAndFormed, platform::k2vuyPixelFormat, 5, 7, 37, 71},
        {ofWindow, 32, 20, 14, 500, 654},
        {ofPicture, 32, 0, 0, 11, 33},
    };
    for (const auto& c : cases) {
        const auto pixels = platform::PixelsOfPort(c.world.handle->Long(0));
        ASSERT_TRUE(pixels);
        EXPECT_EQ(pixels->format, c.format);
        const auto rect = c.world.GetRect(), buffer = c.world.getvImageBuffer();
        EXPECT_TRUE(rect->Short(0) == c.top && rect->Short(2) == c.left && rect->Short(4) == c.bottom &&
                    rect->Short(6) == c.right);
        EXPECT_EQ(c.world.GetDataSize(), pixels->rowBytes * c.world.height);
        EXPECT_EQ(c.world.format, String("rgba"));
        EXPECT_TRUE(buffer->Long(0) == platform::AddressOf(pixels->pixels) && buffer->Long(4) == c.bottom - c.top &&
                    buffer->Long(8) == c.right - c.left && buffer->Long(12) == pixels->rowBytes);
    }
    EXPECT_EQ(ofWindow.handle->Long(0), window.Port());
    EXPECT_EQ(ofPicture.handle->Long(0), picture->RGBSurface());
    EXPECT_EQ(NullMemoryBlock().Pointer(), 0);
    EXPECT_THROW(GWorldWrapper(0, 0), framework::RuntimeException);
    Expect({"MsgBox(NewGWorld error-50)"});
    script.Returns("MakeImageDescriptionForPixMap", -50);
    EXPECT_EQ(plain.GetImageDescription(), 0);
}

} // namespace
} // namespace velmora
