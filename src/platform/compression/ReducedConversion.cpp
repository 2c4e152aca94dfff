// SPDX-License-Identifier: MIT
#include "platform/compression/ReducedConversion.h"

#include <libyuv/scale.h>
#include <libyuv/scale_argb.h>

namespace platform {
namespace {

int32_t Halved(int32_t side)
{
    return (side + 1) / 2;
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
        libyuv::ScalePlane(picture.planes[i], picture.rowBytes[i], i == 0 ? picture.width : picture.chromaWidth,
                           i == 0 ? picture.height : picture.chromaHeight, planes[i], widths[kind], widths[kind],
                           heights[kind], libyuv::kFilterBox);
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
