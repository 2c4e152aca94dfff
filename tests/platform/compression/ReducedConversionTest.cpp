// SPDX-License-Identifier: MIT
#include "platform/compression/ReducedConversion.h"

#include <cmath>
#include <gtest/gtest.h>

using namespace platform;

namespace {

struct Shape {
    const char* name;
    int32_t acrossChroma, downChroma; ///< luma pixels for each pixel of chroma
};

struct Scene {
    PlanarPicture picture;
    std::array<std::vector<uint8_t>, 3> pixels;
};

// Waves of all colours, in planes whose rows have gaps.
Scene MakeScene(int32_t width, int32_t height, const Shape& shape)
{
    Scene scene;
    scene.picture = {.width = width, .height = height};
    scene.picture.chromaWidth = (width + shape.acrossChroma - 1) / shape.acrossChroma;
    scene.picture.chromaHeight = (height + shape.downChroma - 1) / shape.downChroma;
    for (size_t i = 0; i < 3; ++i) {
        const int32_t across = i == 0 ? 1 : shape.acrossChroma, down = i == 0 ? 1 : shape.downChroma;
        const int32_t columns = i == 0 ? width : scene.picture.chromaWidth;
        const int32_t rows = i == 0 ? height : scene.picture.chromaHeight;
        scene.picture.rowBytes[i] = columns + 13;
        scene.pixels[i].resize(static_cast<size_t>((columns + 13) * rows));
        for (int32_t y = 0; y < rows; ++y)
            for (int32_t x = 0; x < columns; ++x)
                scene.pixels[i][static_cast<size_t>(y * (columns + 13) + x)] =
                    static_cast<uint8_t>(128 + 60 * std::sin(0.04 * (x + 0.5) * across + static_cast<double>(i)) *
                                                   std::cos(0.05 * (y + 0.5) * down));
        scene.picture.planes[i] = scene.pixels[i].data();
    }
    return scene;
}

PictureBlock Drawn(const PlanarPicture& picture, int32_t width, int32_t height)
{
    ReducedConversion conversion;
    PictureBlock block = PictureBlock::Make(width, height);
    conversion.Draw(picture, libyuv::kYuvJPEGConstants, block.pixels);
    return block;
}

// The largest distance of a colour.
int Distance(const PortPixels& a, const PortPixels& b)
{
    int largest = 0;
    for (int32_t y = 0; y < a.height; ++y)
        for (int32_t x = 0; x < 4 * a.width; ++x)
            largest = std::max(largest, std::abs(a.pixels[y * a.rowBytes + x] - b.pixels[y * b.rowBytes + x]));
    return largest;
}

} // namespace

// Two thirds have a way of their own; the picture that is converted first and scaled then is the peer.
TEST(ReducedConversion, DrawsTheWholePictureAtEachSize)
{
    struct Sizes {
        int32_t width, height, shownWidth, shownHeight;
    };
    for (const Shape& shape : {Shape{"4:4:4", 1, 1}, {"4:2:2", 2, 1}, {"4:2:0", 2, 2}})
        for (const auto& [width, height, shownWidth, shownHeight] : {Sizes{960, 540, 640, 360},
                                                                     {120, 36, 80, 24},
                                                                     {120, 66, 80, 44},
                                                                     {120, 67, 80, 44},
                                                                     {122, 66, 81, 44},
                                                                     {128, 96, 64, 48},
                                                                     {128, 96, 99, 80}}) {
            const Scene scene = MakeScene(width, height, shape);
            const PictureBlock whole = Drawn(scene.picture, width, height);
            const PictureBlock expected = PictureBlock::Make(shownWidth, shownHeight);
            ScaleTo(whole.pixels, expected.pixels);
            const PictureBlock drawn = Drawn(scene.picture, shownWidth, shownHeight);
            EXPECT_LE(Distance(drawn.pixels, expected.pixels), 14)
                << shape.name << " " << width << "x" << height << " to " << shownWidth << "x" << shownHeight;
        }
}
