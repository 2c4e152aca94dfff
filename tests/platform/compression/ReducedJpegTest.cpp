// SPDX-License-Identifier: MIT
#include "platform/compression/ReducedJpeg.h"
#include "platform/compression/Pictures.h"

#include <random>
#include <turbojpeg.h>

using namespace platform;

namespace {

using Bytes = std::vector<uint8_t>;
using Planes = std::array<Bytes, 3>;

// Soft colours with some noise, and a patch without any detail.
Bytes Scene(int32_t width, int32_t height)
{
    std::mt19937 random;
    Bytes pixels;
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < width; ++x)
            for (const int32_t value : {x * 200 / width, y * 200 / height, 200 - x * 200 / width})
                pixels.push_back(
                    static_cast<uint8_t>(x < width / 4 ? 90 : value + static_cast<int32_t>(random() % 24)));
    return pixels;
}

struct Kind {
    TJSAMP sampling = TJSAMP_422;
    int flags = 0;
    const char* restart = "0";
};

Bytes Compressed(int32_t width, int32_t height, const Kind& kind)
{
    // The library takes the interval from the environment alone: rows of blocks, or blocks with "B".
    setenv("TJ_RESTART", kind.restart, 1);
    const tjhandle compressor = tjInitCompress();
    unsigned char* bytes = nullptr;
    unsigned long size = 0;
    EXPECT_EQ(tjCompress2(compressor, Scene(width, height).data(), width, 0, height, TJPF_RGB, &bytes, &size,
                          kind.sampling, 90, kind.flags),
              0);
    Bytes jpeg(bytes, bytes + size);
    tjFree(bytes);
    tjDestroy(compressor);
    unsetenv("TJ_RESTART");
    return jpeg;
}

// The planes without what lies beyond the picture.
Planes PlanesOf(const PlanarPicture& picture)
{
    Planes planes;
    for (size_t i = 0; i < planes.size(); ++i)
        for (int32_t y = 0; y < (i == 0 ? picture.height : picture.chromaHeight); ++y) {
            const uint8_t* row = picture.planes[i] + ptrdiff_t{y} * picture.rowBytes[i];
            planes[i].insert(planes[i].end(), row, row + (i == 0 ? picture.width : picture.chromaWidth));
        }
    return planes;
}

// The library's planes at the same size. Its own may be a column or row larger.
Planes DecodedByLibrary(const Bytes& jpeg, PlanarPicture picture, TJSAMP sampling)
{
    Planes planes;
    std::array<unsigned char*, 3> targets{};
    for (int i = 0; i < 3; ++i) {
        const auto at = static_cast<size_t>(i);
        planes[at].resize(tjPlaneSizeYUV(i, picture.width, 0, picture.height, sampling));
        picture.planes[at] = targets[at] = planes[at].data();
        picture.rowBytes[at] = tjPlaneWidth(i, picture.width, sampling);
    }
    const tjhandle decompressor = tjInitDecompress();
    EXPECT_EQ(tjDecompressToYUVPlanes(decompressor, jpeg.data(), jpeg.size(), targets.data(), picture.width, nullptr,
                                      picture.height, 0),
              0);
    tjDestroy(decompressor);
    return PlanesOf(picture);
}

double MeanDistance(const Bytes& a, const Bytes& b)
{
    EXPECT_EQ(a.size(), b.size());
    double sum = 0;
    for (size_t i = 0; i < std::min(a.size(), b.size()); ++i)
        sum += std::abs(a[i] - b[i]);
    return sum / static_cast<double>(a.size());
}

} // namespace

// The library's reduced pictures are the peer: a wrong table, place or restart is far off from them.
TEST(ReducedJpeg, GivesTheLibrarysPicturesInAllKindsAndSizes)
{
    struct Size {
        int32_t width, height;
    };
    ReducedJpeg decoder;
    for (const Kind& kind :
         {Kind{TJSAMP_444}, Kind{TJSAMP_422}, Kind{TJSAMP_420}, Kind{TJSAMP_422, 0, "1"}, Kind{TJSAMP_420, 0, "3B"}})
        for (const auto& [width, height] : {Size{640, 480}, {641, 479}, {322, 200}, {16, 8}, {1, 1}})
            for (const int32_t factor : {2, 4, 8}) {
                SCOPED_TRACE(testing::Message()
                             << kind.sampling << kind.restart << " " << width << "x" << height << " / " << factor);
                const Bytes jpeg = Compressed(width, height, kind);
                const auto picture = decoder.Decode(jpeg, width, height, factor);
                ASSERT_TRUE(picture);
                const Planes planes = PlanesOf(*picture);
                const Planes peer = DecodedByLibrary(jpeg, *picture, kind.sampling);
                for (size_t i = 0; i < planes.size(); ++i)
                    EXPECT_LE(MeanDistance(planes[i], peer[i]), width < 100 ? 8 : 2) << i;
            }
}

TEST(ReducedJpeg, TakesTheStandardTablesWhereAFrameHasNone)
{
    ReducedJpeg decoder;
    const Bytes jpeg = Compressed(320, 240, {});
    const auto whole = decoder.Decode(jpeg, 320, 240, 2);
    ASSERT_TRUE(whole);
    const Planes planes = PlanesOf(*whole);
    // A frame with tables of its own comes between.
    ASSERT_TRUE(decoder.Decode(Compressed(64, 64, {TJSAMP_444}), 64, 64, 2));
    const auto bare = decoder.Decode(pictures::WithoutHuffmanTables(jpeg), 320, 240, 2);
    ASSERT_TRUE(bare);
    EXPECT_EQ(PlanesOf(*bare), planes);
}

TEST(ReducedJpeg, LeavesOtherAndDamagedFramesToTheLibrary)
{
    ReducedJpeg decoder;
    const Bytes jpeg = Compressed(320, 240, {});
    const auto half = [&] { return Bytes(jpeg.begin(), jpeg.begin() + static_cast<ptrdiff_t>(jpeg.size() / 2)); };
    Bytes withAdobe = jpeg;
    const std::array<uint8_t, 16> adobe{0xFF, 0xEE, 0, 14, 'A', 'd', 'o', 'b', 'e', 0, 100, 0, 0, 0, 0, 0};
    withAdobe.insert(withAdobe.begin() + 2, adobe.begin(), adobe.end());
    for (const auto& [name, frame] : {std::pair("progressive", Compressed(320, 240, {TJSAMP_422, TJFLAG_PROGRESSIVE})),
                                      {"gray", Compressed(320, 240, {TJSAMP_GRAY})},
                                      {"4:1:1", Compressed(320, 240, {TJSAMP_411})},
                                      {"another size", Compressed(320, 248, {})},
                                      {"RGB", withAdobe},
                                      {"half of it", half()},
                                      {"nothing", Bytes()}})
        EXPECT_FALSE(decoder.Decode(frame, 320, 240, 2)) << name;
}

// Any bytes end in a picture or in none, and a good frame after them is decoded as before.
TEST(ReducedJpeg, SurvivesChangedBytes)
{
    ReducedJpeg decoder;
    std::mt19937 random(std::random_device{}());
    const Bytes jpeg = Compressed(96, 64, {TJSAMP_420, 0, "1"});
    const Planes good = PlanesOf(*decoder.Decode(jpeg, 96, 64, 2));
    for (int i = 0; i < 3000; ++i) {
        Bytes bad = jpeg;
        for (size_t n = 1 + random() % 4; n > 0; --n)
            bad[random() % (i % 2 == 0 ? bad.size() : 640)] = static_cast<uint8_t>(random());
        bad.resize(bad.size() - random() % 3 * (random() % 100));
        const int32_t factor = std::array{2, 4, 8}[random() % 3];
        if (const auto picture = decoder.Decode(bad, 96, 64, factor)) {
            EXPECT_EQ(PlanesOf(*picture)[0].size(), static_cast<size_t>(96 / factor * 64 / factor));
        }
    }
    const auto after = decoder.Decode(jpeg, 96, 64, 2);
    ASSERT_TRUE(after);
    EXPECT_EQ(PlanesOf(*after), good);
}
