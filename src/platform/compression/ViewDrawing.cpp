// SPDX-License-Identifier: MIT
#include "platform/compression/ViewDrawing.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace platform {
namespace {

// Matrices have 16 fraction bits, so a side of thousands of points is accurate to a tenth of a point.
constexpr double kTolerance = 0.1;

// One pair of a rectangle's edges. Returns false if they are not integers.
bool Edges(double a, double b, int32_t& start, int32_t& length)
{
    const double low = std::round(std::min(a, b));
    const double high = std::round(std::max(a, b));
    if (std::abs(std::min(a, b) - low) > kTolerance || std::abs(std::max(a, b) - high) > kTolerance ||
        std::abs(low) > 32767 || std::abs(high) > 32767)
        return false;
    start = static_cast<int32_t>(low);
    length = static_cast<int32_t>(high - low);
    return length > 0;
}

} // namespace

PictureShape ShapeOfFrame(int32_t width, int32_t height)
{
    const bool is525 = height == 480 || height == 486;
    if ((width == 720 || width == 704) && (is525 || height == 576))
        return {4, 3};
    return {static_cast<double>(width), static_cast<double>(height)};
}

ViewDrawing::ViewDrawing(PortReference port, const PortRect& part, const Transform& t)
{
    // If the sides stay parallel to the axes, two opposite corners are enough.
    const double left = t.a * part.left + t.c * part.top + t.tx;
    const double top = t.b * part.left + t.d * part.top + t.ty;
    const double right = left + t.a * part.width + t.c * part.height;
    const double bottom = top + t.b * part.width + t.d * part.height;
    const bool upright = t.b == 0 && t.c == 0;
    PortRect area;
    if ((!upright && (t.a != 0 || t.d != 0)) || !Edges(left, right, area.left, area.width) ||
        !Edges(top, bottom, area.top, area.height))
        return;
    view = View::Find(port, area);
    unit.a = std::round(t.a * part.width / area.width);
    unit.b = std::round(t.b * part.width / area.height);
    unit.c = std::round(t.c * part.height / area.width);
    unit.d = std::round(t.d * part.height / area.height);
    unit.tx = std::round((left - area.left) / area.width);
    unit.ty = std::round((top - area.top) / area.height);
}

PictureShape ViewDrawing::Seen(const PictureShape& shape) const
{
    return IsTurned() ? PictureShape{shape.height, shape.width} : shape;
}

PortRect ViewDrawing::Draw(const SourcePixels& source, const PictureShape& shape, View& target, PictureDrawing& drawing,
                           std::function<bool()> redraw) const
{
    const PortRect place = PlaceOf(shape, target);
    if (place.width == 0)
        return place;
    const double width = static_cast<double>(place.width) / source.width;
    const double height = static_cast<double>(place.height) / source.height;
    const double acrossX = static_cast<double>(place.width) / source.height;
    const double acrossY = static_cast<double>(place.height) / source.width;
    drawing.Draw(source,
                 {unit.a * width, unit.b * acrossY, unit.c * acrossX, unit.d * height,
                  place.left + unit.tx * place.width, place.top + unit.ty * place.height},
                 target.Pixels());
    target.PictureDrawn(Seen(shape), std::move(redraw));
    return place;
}

} // namespace platform
