// SPDX-License-Identifier: MIT
#include "platform/drawing/Ports.h"
#include "platform/drawing/View.h"

#include <gtest/gtest.h>

#include <array>
#include <vector>

using namespace platform;

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
          Case{CodeOf("y420"), {0, 0, 3, 5}, noErr, 64, 5 * 64}, Case{32, {0, 0, 1, 16384}, noErr, 65536, 65536},
          Case{32, {0, 0, 0, 5}, paramErr, 0, 0}, Case{32, {0, 5, 5, 0}, paramErr, 0, 0},
          Case{CodeOf("xyz!"), {0, 0, 5, 5}, paramErr, 0, 0}, Case{32, {-32768, 0, 32767, 5}, memFullErr, 0, 0}}) {
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

TEST(Blacken, CoversItsRectangleAndNothingElse)
{
    for (const PortRect& rect : {PortRect{2, 1, 3, 2}, PortRect{4, 3, 9, 9}, PortRect{-2, -2, 3, 3}}) {
        std::vector<uint32_t> pixels(6 * 5, 0xFFFFFFFF);
        Blacken({reinterpret_cast<uint8_t*>(pixels.data()), 24, 6, 5}, rect);
        for (int32_t i = 0; i < 30; ++i) {
            const bool isInside = i % 6 >= rect.left && i % 6 < rect.left + rect.width && i / 6 >= rect.top &&
                                  i / 6 < rect.top + rect.height;
            EXPECT_EQ(pixels[static_cast<size_t>(i)], isInside ? 0xFF000000 : 0xFFFFFFFF) << rect.left << ": " << i;
        }
    }
}
