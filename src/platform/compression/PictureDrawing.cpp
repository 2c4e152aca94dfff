// SPDX-License-Identifier: MIT
// Drawing a picture into a port through a transform.
//
// Most transforms keep the picture's sides parallel to the port's: the preview's scaling, and mirroring. They have a
// placement, a rectangle of whole pixels with a mirror flag for each direction, and are drawn by libyuv:
//
//   same size                 one copy or mirror of the visible part
//   another size              one scaling of the visible part; upside down costs nothing
//   another size, mirrored    scaling into a scratch block of the visible part's size, then a mirror from there
//
// Everything else (rotation, shear, a scale beyond the limits of the vector code) uses the sampler.
//
// Both the scaler and the sampler use only four pixels for each target pixel. If a picture shrinks to less than half
// they would skip whole rows and columns, and fine patterns would flicker: so such a picture is first halved (or
// quartered) by a box filter, which is fast.
#include "platform/compression/PictureDrawing.h"

#include <libyuv.h>

#include <algorithm>
#include <cmath>

namespace platform {

struct PictureDrawing::Placement {
    PortRect whole;   ///< the picture's rectangle in the port's pixels, which may extend beyond the port
    PortRect visible; ///< the part of it within the port
    bool mirrored = false;
    bool upsideDown = false;
};

namespace {

constexpr int32_t kRowAlignment = 64;
constexpr double kMaxPlacement = 32000;

int32_t AlignedRowBytes(int32_t width)
{
    return (width * 4 + kRowAlignment - 1) / kRowAlignment * kRowAlignment;
}

// The start of a block that is reused from frame to frame and only replaced by a larger one.
uint8_t* Reserve(OwnedBlock& block, int64_t size)
{
    if (block.Size() < size)
        block = OwnedBlock(size);
    return PointerAt<uint8_t>(block.Get());
}

PortRect ClippedTo(const PortPixels& port, const PortRect& rect)
{
    const int32_t left = std::max(rect.left, 0);
    const int32_t top = std::max(rect.top, 0);
    const int32_t right = std::min(rect.left + rect.width, port.width);
    const int32_t bottom = std::min(rect.top + rect.height, port.height);
    if (right <= left || bottom <= top)
        return {};
    return {left, top, right - left, bottom - top};
}

// One dimension of a placement: from `origin` along `extent`, which is negative if the picture is mirrored. Edges are
// rounded so that a pixel is covered if its centre is.
bool PlaceSide(double origin, double extent, int32_t& start, int32_t& length)
{
    const double low = std::round(std::min(origin, origin + extent));
    const double high = std::round(std::max(origin, origin + extent));
    if (low < -kMaxPlacement || high > kMaxPlacement)
        return false;
    start = static_cast<int32_t>(low);
    length = static_cast<int32_t>(high - low);
    return true;
}

uint8_t* PixelAt(const PortPixels& port, int32_t x, int32_t y)
{
    return port.pixels + ptrdiff_t{y} * port.rowBytes + ptrdiff_t{x} * 4;
}

// The address at which a picture would start if only the part at `visible` is to be drawn. It may be outside of any
// block and is only used for computing.
uint8_t* CountedBack(uint8_t* visible, int32_t x, int32_t y, int32_t rowBytes)
{
    const int64_t back = int64_t{y} * rowBytes + int64_t{x} * 4;
    return reinterpret_cast<uint8_t*>(reinterpret_cast<intptr_t>(visible) - back); // NOLINT(performance-no-int-to-ptr)
}

int32_t HeldBetween(double value, int32_t low, int32_t high)
{
    return static_cast<int32_t>(std::clamp<double>(value, low, high));
}

// A linear function of x must be between 0 and `limit`: restricts the range of whole x from `first` up to but excluding
// `end` to where it is.
void CutRun(double atZero, double step, double limit, int32_t& first, int32_t& end)
{
    if (step == 0) {
        if (atZero < 0 || atZero >= limit)
            end = first;
        return;
    }
    const double crossings[2] = {-atZero / step, (limit - atZero) / step};
    const double low = std::min(crossings[0], crossings[1]);
    const double high = std::max(crossings[0], crossings[1]);
    first = HeldBetween(std::ceil(low), first, end);
    end = HeldBetween(std::ceil(high), first, end);
}

// Mixes two pixels, all four bytes at once in two pairs; a `weight` of 256 selects the second one.
uint32_t Mixed(uint32_t a, uint32_t b, uint32_t weight)
{
    constexpr uint32_t kPairs = 0x00FF00FF;
    constexpr uint32_t kHalves = 0x00800080;
    const uint32_t low = ((a & kPairs) * (256 - weight) + (b & kPairs) * weight + kHalves) >> 8 & kPairs;
    const uint32_t high = ((a >> 8 & kPairs) * (256 - weight) + (b >> 8 & kPairs) * weight + kHalves) & ~kPairs;
    return low | high;
}

// Reads a picture's pixels at coordinates with 32 fraction bits, integers being the centres of pixels; coordinates
// outside of the picture read its border.
class Sampler {
public:
    explicit Sampler(const SourcePixels& source) : source(source) {}

    uint32_t At(int64_t u, int64_t v) const
    {
        u = std::clamp<int64_t>(u, 0, int64_t{source.width - 1} << 32);
        v = std::clamp<int64_t>(v, 0, int64_t{source.height - 1} << 32);
        const auto x = static_cast<int32_t>(u >> 32);
        const auto y = static_cast<int32_t>(v >> 32);
        const int32_t nextX = std::min(x + 1, source.width - 1);
        const uint8_t* row = source.pixels + ptrdiff_t{y} * source.rowBytes;
        const uint8_t* nextRow = y + 1 < source.height ? row + source.rowBytes : row;
        const auto weightX = static_cast<uint32_t>(u >> 24 & 0xFF);
        const auto weightY = static_cast<uint32_t>(v >> 24 & 0xFF);
        return Mixed(Mixed(Pixel(row, x), Pixel(row, nextX), weightX),
                     Mixed(Pixel(nextRow, x), Pixel(nextRow, nextX), weightX), weightY);
    }

private:
    static uint32_t Pixel(const uint8_t* row, int32_t x)
    {
        uint32_t pixel = 0;
        __builtin_memcpy(&pixel, row + ptrdiff_t{x} * 4, 4);
        return pixel;
    }

    SourcePixels source;
};

int64_t Steps(double value)
{
    return std::llround(value * 4294967296.0);
}

// The bounding rectangle of a transformed picture in pixels.
PortRect BoundsOf(const SourcePixels& source, const Transform& t, const PortPixels& port)
{
    const double acrossX = t.a * source.width, acrossY = t.b * source.width;
    const double downX = t.c * source.height, downY = t.d * source.height;
    const auto [left, right] = std::minmax({0.0, acrossX, downX, acrossX + downX});
    const auto [top, bottom] = std::minmax({0.0, acrossY, downY, acrossY + downY});
    const int32_t x = HeldBetween(std::floor(t.tx + left), 0, port.width);
    const int32_t y = HeldBetween(std::floor(t.ty + top), 0, port.height);
    return {x, y, HeldBetween(std::ceil(t.tx + right), 0, port.width) - x,
            HeldBetween(std::ceil(t.ty + bottom), 0, port.height) - y};
}

Transform Inverse(const Transform& t, double determinant)
{
    Transform inverse;
    inverse.a = t.d / determinant;
    inverse.b = -t.b / determinant;
    inverse.c = -t.c / determinant;
    inverse.d = t.a / determinant;
    inverse.tx = -(inverse.a * t.tx + inverse.c * t.ty);
    inverse.ty = -(inverse.b * t.tx + inverse.d * t.ty);
    return inverse;
}

} // namespace

PortRect PictureDrawing::Draw(SourcePixels source, Transform transform, const PortPixels& port)
{
    Reduce(source, transform);
    Placement place;
    if (transform.b != 0 || transform.c != 0 ||
        !PlaceSide(transform.tx, transform.a * source.width, place.whole.left, place.whole.width) ||
        !PlaceSide(transform.ty, transform.d * source.height, place.whole.top, place.whole.height))
        return DrawSampled(source, transform, port);
    place.mirrored = transform.a < 0;
    place.upsideDown = transform.d < 0;
    place.visible = ClippedTo(port, place.whole);
    if (place.visible.width == 0)
        return {};
    if (place.whole.width != source.width || place.whole.height != source.height) {
        DrawScaled(source, place, port);
        return place.visible;
    }

    const PortRect& visible = place.visible;
    const int32_t fromLeft = visible.left - place.whole.left;
    const int32_t fromTop = visible.top - place.whole.top;
    const int32_t x = place.mirrored ? source.width - fromLeft - visible.width : fromLeft;
    const int32_t y = place.upsideDown ? source.height - fromTop - visible.height : fromTop;
    const auto move = place.mirrored ? libyuv::ARGBMirror : libyuv::ARGBCopy;
    move(source.pixels + ptrdiff_t{y} * source.rowBytes + ptrdiff_t{x} * 4, source.rowBytes,
         PixelAt(port, visible.left, visible.top), port.rowBytes, visible.width,
         place.upsideDown ? -visible.height : visible.height);
    return visible;
}

void PictureDrawing::Reduce(SourcePixels& source, Transform& transform)
{
    const double shrinking = std::max(std::hypot(transform.a, transform.b), std::hypot(transform.c, transform.d));
    const int32_t factor = shrinking < 0.25 ? 4 : shrinking < 0.5 ? 2 : 1;
    const int32_t width = source.width / factor;
    const int32_t height = source.height / factor;
    if (factor == 1 || width == 0 || height == 0)
        return;
    const int32_t rowBytes = AlignedRowBytes(width);
    uint8_t* pixels = Reserve(reduced, int64_t{rowBytes} * height);
    if (pixels == nullptr)
        return;
    // Leaves out up to three columns and rows at the far edges, since the box filter needs whole boxes.
    libyuv::ARGBScale(source.pixels, source.rowBytes, width * factor, height * factor, pixels, rowBytes, width, height,
                      libyuv::kFilterBox);
    const double wider = static_cast<double>(source.width) / width;
    const double higher = static_cast<double>(source.height) / height;
    transform.a *= wider;
    transform.b *= wider;
    transform.c *= higher;
    transform.d *= higher;
    source = {pixels, rowBytes, width, height};
}

void PictureDrawing::DrawScaled(const SourcePixels& source, const Placement& place, const PortPixels& port)
{
    const PortRect& visible = place.visible;
    const int32_t fromLeft = visible.left - place.whole.left;
    const int32_t fromTop = visible.top - place.whole.top;
    const int32_t x = place.mirrored ? place.whole.width - fromLeft - visible.width : fromLeft;
    uint8_t* portPixels = PixelAt(port, visible.left, visible.top);
    uint8_t* scaled = portPixels;
    int32_t rowBytes = port.rowBytes;
    if (place.mirrored) {
        rowBytes = AlignedRowBytes(visible.width);
        scaled = Reserve(unmirrored, int64_t{rowBytes} * visible.height);
        if (scaled == nullptr)
            return;
    }
    const int32_t height = place.upsideDown ? -source.height : source.height;
    // The library uses its box filter for exact halving, otherwise the bilinear one.
    libyuv::ARGBScaleClip(source.pixels, source.rowBytes, source.width, height,
                          CountedBack(scaled, x, fromTop, rowBytes), rowBytes, place.whole.width, place.whole.height, x,
                          fromTop, visible.width, visible.height, libyuv::kFilterBox);
    if (place.mirrored)
        libyuv::ARGBMirror(scaled, rowBytes, portPixels, port.rowBytes, visible.width, visible.height);
}

PortRect PictureDrawing::DrawSampled(const SourcePixels& source, const Transform& transform, const PortPixels& port)
{
    const double determinant = transform.a * transform.d - transform.b * transform.c;
    if (std::abs(determinant) < 1e-8)
        return {};
    const Transform inverse = Inverse(transform, determinant);
    const PortRect bounds = BoundsOf(source, transform, port);
    const Sampler sampler(source);
    const int64_t stepU = Steps(inverse.a), stepV = Steps(inverse.b);
    for (int32_t y = bounds.top; y < bounds.top + bounds.height; ++y) {
        // The centre of the row's pixel 0 in the picture.
        const double u = inverse.a * 0.5 + inverse.c * (y + 0.5) + inverse.tx;
        const double v = inverse.b * 0.5 + inverse.d * (y + 0.5) + inverse.ty;
        int32_t first = bounds.left, end = bounds.left + bounds.width;
        CutRun(u, inverse.a, source.width, first, end);
        CutRun(v, inverse.b, source.height, first, end);
        int64_t atU = Steps(u + inverse.a * first - 0.5), atV = Steps(v + inverse.b * first - 0.5);
        uint8_t* to = PixelAt(port, 0, y);
        for (int32_t x = first; x < end; ++x, atU += stepU, atV += stepV) {
            const uint32_t pixel = sampler.At(atU, atV);
            __builtin_memcpy(to + ptrdiff_t{x} * 4, &pixel, 4);
        }
    }
    return bounds;
}

} // namespace platform
