// SPDX-License-Identifier: MIT
#include "platform/compression/ReducedConversion.h"

#include <libyuv/planar_functions.h>
#include <libyuv/scale.h>
#include <libyuv/scale_argb.h>

#include <algorithm>

namespace platform {
namespace {

int32_t Halved(int32_t side)
{
    return (side + 1) / 2;
}

struct Plane {
    const uint8_t* pixels;
    int32_t rowBytes;
    int32_t width;
    int32_t height;
};

// A frame of 1920 x 1080 that is decoded at half its size is shown at two thirds of that in a window for 640 x 480.
// Three rows then become two by the bilinear filter, the outer ones with a quarter of the middle one each, and so do
// three columns. The library's own scaling gives the same pixels in several times the time, since it takes its weights
// from a position for each.
void ScaleToTwoThirds(const Plane& from, uint8_t* target, std::vector<uint8_t>& scratch)
{
    constexpr int32_t kBand = 16; // rows whose scratch fits the processor's cache
    constexpr int kQuarter = 64;
    const int32_t wide = from.width, third = wide / 3;
    const int32_t height = from.height / 3 * 2;
    scratch.resize(static_cast<size_t>(2 * kBand) * static_cast<size_t>(wide));
    for (int32_t top = 0; top < height; top += kBand) {
        const int32_t rows = std::min(kBand, height - top);
        const uint8_t* upper = from.pixels + ptrdiff_t{top} / 2 * 3 * from.rowBytes;
        const uint8_t* middle = upper + from.rowBytes;
        const uint8_t* lower = middle + from.rowBytes;
        const int32_t step = 3 * from.rowBytes;
        uint8_t* band = scratch.data();
        libyuv::InterpolatePlane(upper, step, middle, step, band, 2 * wide, wide, rows / 2, kQuarter);
        libyuv::InterpolatePlane(lower, step, middle, step, band + wide, 2 * wide, wide, rows / 2, kQuarter);
        uint8_t* left = band + ptrdiff_t{rows} * wide;
        uint8_t* centre = left + ptrdiff_t{rows} * third;
        uint8_t* right = centre + ptrdiff_t{rows} * third;
        libyuv::SplitRGBPlane(band, wide, left, third, centre, third, right, third, third, rows);
        libyuv::InterpolatePlane(left, third, centre, third, left, third, third, rows, kQuarter);
        libyuv::InterpolatePlane(right, third, centre, third, right, third, third, rows, kQuarter);
        libyuv::MergeUVPlane(left, third, right, third, target + ptrdiff_t{top} * 2 * third, 2 * third, third, rows);
    }
}

// Scales a plane to another one without gaps between its rows.
void Scale(const Plane& from, uint8_t* target, int32_t width, int32_t height, std::vector<uint8_t>& scratch)
{
    const bool isTwoThirds =
        from.width % 3 == 0 && from.height % 3 == 0 && from.width / 3 * 2 == width && from.height / 3 * 2 == height;
    if (isTwoThirds)
        ScaleToTwoThirds(from, target, scratch);
    else
        libyuv::ScalePlane(from.pixels, from.rowBytes, from.width, from.height, target, width, width, height,
                           libyuv::kFilterBox);
}

} // namespace

bool ReducedConversion::Suits(const PlanarPicture& picture)
{
    const bool wholeWidth = picture.chromaWidth == picture.width;
    const bool wholeHeight = picture.chromaHeight == picture.height;
    return (wholeWidth && wholeHeight) || (picture.chromaWidth == Halved(picture.width) &&
                                           (wholeHeight || picture.chromaHeight == Halved(picture.height)));
}

void ReducedConversion::Draw(const PlanarPicture& picture, const libyuv::YuvConstants& colors, const PortPixels& target)
{
    const bool wholeWidth = picture.chromaWidth == picture.width;
    const bool wholeHeight = picture.chromaHeight == picture.height;
    const std::array widths{target.width, wholeWidth ? target.width : Halved(target.width)};
    const std::array heights{target.height, wholeHeight ? target.height : Halved(target.height)};
    const auto lumaSize = static_cast<size_t>(widths[0]) * static_cast<size_t>(heights[0]);
    const auto chromaSize = static_cast<size_t>(widths[1]) * static_cast<size_t>(heights[1]);
    scaled.resize(lumaSize + 2 * chromaSize);
    const std::array planes{scaled.data(), scaled.data() + lumaSize, scaled.data() + lumaSize + chromaSize};
    for (size_t i = 0; i < planes.size(); ++i) {
        const size_t kind = i == 0 ? 0 : 1;
        const Plane from{picture.planes[i], picture.rowBytes[i], i == 0 ? picture.width : picture.chromaWidth,
                         i == 0 ? picture.height : picture.chromaHeight};
        Scale(from, planes[i], widths[kind], heights[kind], band);
    }
    const auto convert = wholeWidth    ? libyuv::I444ToARGBMatrix
                         : wholeHeight ? libyuv::I422ToARGBMatrix
                                       : libyuv::I420ToARGBMatrix;
    convert(planes[0], widths[0], planes[1], widths[1], planes[2], widths[1], target.pixels, target.rowBytes, &colors,
            target.width, target.height);
}

void ScaleTo(const PortPixels& picture, const PortPixels& target)
{
    libyuv::ARGBScale(picture.pixels, picture.rowBytes, picture.width, picture.height, target.pixels, target.rowBytes,
                      target.width, target.height, libyuv::kFilterBox);
}

} // namespace platform
