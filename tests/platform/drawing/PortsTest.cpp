#include "platform/drawing/Ports.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <tuple>
#include <vector>

using namespace platform;

namespace {

uint32_t PixelOf(const PortPixels& port, int32_t x, int32_t y)
{
    uint32_t pixel = 0;
    std::memcpy(&pixel, port.pixels + y * port.rowBytes + x * 4, 4);
    return pixel;
}

void SetPixel(const PortPixels& port, int32_t x, int32_t y, uint32_t pixel)
{
    std::memcpy(port.pixels + y * port.rowBytes + x * 4, &pixel, 4);
}

} // namespace

TEST(PixelFormat, SizesOfPackedImages)
{
    for (const auto& [format, width, height, rowBytes, bytes] :
         {std::tuple<FourCharCode, int32_t, int32_t, int32_t, int64_t>{32, 5, 3, 20, 60},
          {CodeOf("2vuy"), 5, 3, 12, 36},
          {CodeOf("y420"), 5, 3, 5, 15 + 2 * 6},
          {CodeOf("nv12"), 4, 2, 4, 12},
          {CodeOf("24RG"), 5, 3, 15, 45},
          {CodeOf("grey"), 5, 3, 5, 15},
          {CodeOf("jpeg"), 5, 3, 0, 0},
          {32, 16384, 16384, 65536, int64_t{1} << 30},
          {32, 16385, 1, 0, 0},
          {32, 0, 1, 0, 0}}) {
        EXPECT_EQ(PackedRowBytes(format, width), rowBytes) << TextOf(format) << width;
        EXPECT_EQ(PackedImageSize(format, width, height), bytes) << TextOf(format) << width;
    }
}

TEST(GraphicsWorlds, MakesAndRefusesWorlds)
{
    struct Case {
        FourCharCode format;
        std::array<int16_t, 4> rect;
        Result result;
        int32_t rowBytes;
        int64_t bytes;
    };
    const OwnedBlock cell(4);
    for (const Case& c :
         {Case{32, {10, 20, 13, 37}, noErr, 128, 384}, Case{CodeOf("2vuy"), {0, 0, 480, 640}, noErr, 1280, 614400},
          Case{CodeOf("y420"), {0, 0, 3, 5}, noErr, 64, 5 * 64}, Case{32, {0, 0, 0, 5}, paramErr, 0, 0},
          Case{32, {0, 5, 5, 0}, paramErr, 0, 0}, Case{CodeOf("xyz!"), {0, 0, 5, 5}, paramErr, 0, 0},
          Case{32, {-32768, 0, 32767, 5}, memFullErr, 0, 0}}) {
        const int64_t before = BytesInUse();
        const OwnedBlock rect(8);
        Poke(rect.Get(), c.rect);
        Poke(cell.Get(), -1);
        ASSERT_EQ(QTNewGWorld(cell.Get(), c.format, rect.Get(), 0, 0, 0), c.result);
        const auto world = Peek<PortReference>(cell.Get());
        EXPECT_EQ(world > 0, c.result == noErr);
        const PixMapReference map = GetGWorldPixMap(world);
        EXPECT_EQ(LockPixels(map), c.result == noErr ? 1 : 0);
        EXPECT_EQ(GetPixRowBytes(map), c.rowBytes);
        EXPECT_EQ(BytesFrom(GetPixBaseAddr(map)), c.bytes);
        ReleasePort(world); // not the owner's call for a world
        EXPECT_EQ(GetGWorldPixMap(world), map);
        DisposeGWorld(world);
        EXPECT_EQ(GetGWorldPixMap(world), 0);
        EXPECT_EQ(GetPixBaseAddr(map), 0);
        EXPECT_EQ(BytesInUse(), before + 8);
    }
}

TEST(Ports, APixelMapFollowsItsPortThroughAResize)
{
    const PortReference port = NewPort(20, 10);
    const PixMapReference map = GetGWorldPixMap(port);
    SetPixel(*PixelsOfPort(port), 3, 4, 0xFF112233);
    SetPixel(*PixelsOfPort(port), 19, 9, 0xFF445566);

    ASSERT_TRUE(ResizePort(port, 100, 50));
    EXPECT_EQ(GetGWorldPixMap(port), map);
    EXPECT_EQ(PixelOf(*PixelsOfPixMap(map), 3, 4), 0xFF112233);
    EXPECT_EQ(PixelOf(*PixelsOfPixMap(map), 19, 9), 0xFF445566);
    EXPECT_EQ(PixelOf(*PixelsOfPixMap(map), 20, 9), 0U);

    ASSERT_TRUE(ResizePort(port, 5, 6));
    EXPECT_EQ(PixelOf(*PixelsOfPixMap(map), 3, 4), 0xFF112233);
    EXPECT_FALSE(ResizePort(port, 5, 16385));

    DisposeGWorld(port); // a window's port is not a world
    EXPECT_EQ(LockPixels(map), 1);
    ReleasePort(port);
    EXPECT_EQ(LockPixels(map), 0);
    EXPECT_FALSE(PixelsOfPort(port) || PixelsOfPixMap(map) || ResizePort(port, 5, 5));
}

TEST(Ports, ChangesAreToldToTheOwner)
{
    std::vector<int32_t> tops;
    const PortReference port = NewPort(20, 10, [&](const PortRect& area) { tops.push_back(area.top); });
    NotePortChanged(port, {1, 2, 3, 4});
    NotePortChanged(port, {1, 3, 0, 4});
    ReleasePort(port);
    NotePortChanged(port, {1, 4, 3, 4});
    EXPECT_EQ(tops, std::vector<int32_t>{2});
}
