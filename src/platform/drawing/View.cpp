// SPDX-License-Identifier: MIT
// Views of a port.
//
// A view has its own pixels, at the size of its rectangle on the screen. States: nothing drawn yet; painted by its
// owner, which paints again after a change of size; showing a picture, which is adapted to the rectangle here. A
// picture is drawn again from its source, or its pixels are scaled if the source is gone.
//
// The port's own pixels are out of date as soon as something is drawn into a view. They are updated when they are read,
// so a live picture that is not read costs no second copy. A picture that is not drawn into exactly the view's
// rectangle goes into the port's pixels and is copied into the views that it touches.
#include "platform/drawing/View.h"

#include "platform/drawing/Port.h"

#include <libyuv/scale_argb.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

namespace platform {
namespace {

constexpr int32_t kRowAlignment = 64; // bytes

bool operator==(const PortRect& a, const PortRect& b)
{
    return a.left == b.left && a.top == b.top && a.width == b.width && a.height == b.height;
}

uint8_t* PixelAt(const PortPixels& pixels, int32_t x, int32_t y)
{
    return pixels.pixels + ptrdiff_t{y} * pixels.rowBytes + ptrdiff_t{x} * 4;
}

// The pixels of a rectangle within `pixels`.
PortPixels Part(PortPixels pixels, const PortRect& rect)
{
    pixels.pixels = PixelAt(pixels, rect.left, rect.top);
    pixels.width = rect.width;
    pixels.height = rect.height;
    return pixels;
}

void Scale(const PortPixels& from, const PortPixels& to)
{
    libyuv::ARGBScale(from.pixels, from.rowBytes, from.width, from.height, to.pixels, to.rowBytes, to.width, to.height,
                      libyuv::kFilterBox);
}

int32_t PixelsFor(int32_t points, double density)
{
    return std::clamp(static_cast<int32_t>(std::lround(points * density)), 1, kMaxPictureSide);
}

OwnedBlock MakePixels(int32_t width, int32_t height, PortPixels& pixels)
{
    pixels = {};
    const int32_t rowBytes = (width * 4 + kRowAlignment - 1) / kRowAlignment * kRowAlignment;
    OwnedBlock block(int64_t{rowBytes} * height);
    if (block.Get() == 0)
        return block;
    pixels.pixels = PointerAt<uint8_t>(block.Get());
    pixels.rowBytes = rowBytes;
    pixels.width = width;
    pixels.height = height;
    return block;
}

} // namespace

void Blacken(const PortPixels& pixels, const PortRect& rect)
{
    const PortRect inside = Clipped(rect, pixels.width, pixels.height);
    for (int32_t y = inside.top; y < inside.top + inside.height; ++y)
        std::fill_n(reinterpret_cast<uint32_t*>(PixelAt(pixels, inside.left, y)), inside.width, 0xFF000000U);
}

std::shared_ptr<View> View::Register(PortReference port, std::function<void()> changed)
{
    const auto found = FindPort(port);
    if (!found)
        return nullptr;
    auto view = std::make_shared<View>(found, std::move(changed));
    std::erase_if(found->views, [](const auto& each) { return each.expired(); });
    found->views.push_back(view);
    return view;
}

std::shared_ptr<View> View::Find(PortReference port, const PortRect& area)
{
    const auto found = FindPort(port);
    if (!found)
        return nullptr;
    for (const auto& each : found->views)
        if (auto view = each.lock(); view && view->area == area && view->pixels.width > 0)
            return view;
    return nullptr;
}

View::View(std::weak_ptr<Port> port, std::function<void()> changed) : port(std::move(port)), changed(std::move(changed))
{
}

void View::Update(const PortRect& newArea, double newDensity)
{
    const int32_t width = PixelsFor(newArea.width, newDensity);
    const int32_t height = PixelsFor(newArea.height, newDensity);
    const bool isEmpty = newArea.width < 1 || newArea.height < 1;
    const bool sameSize = width == pixels.width && height == pixels.height && !isEmpty;
    if (newArea == area && newDensity == density && (sameSize || isEmpty))
        return;
    area = newArea;
    density = newDensity;
    if (!sameSize) {
        const PortPixels old = pixels;
        OwnedBlock made = isEmpty ? OwnedBlock() : MakePixels(width, height, pixels);
        if (made.Get() == 0)
            pixels = {};
        std::swap(block, made);
        if (old.width > 0 && pixels.width > 0)
            KeepPicture(old);
    }
    MarkPortOutdated();
}

void View::KeepPicture(const PortPixels& old)
{
    const PortRect oldPlace = std::exchange(place, {});
    if (!showsPicture || oldPlace.width == 0)
        return Scale(old, pixels);
    updating = true;
    const bool isRedrawn = redraw && redraw();
    updating = false;
    if (isRedrawn)
        return;
    place = PlaceFor(shape);
    Scale(Part(old, oldPlace), Part(pixels, place));
}

PortRect View::PlaceFor(const PictureShape& wanted) const
{
    if (pixels.width < 1 || wanted.width <= 0 || wanted.height <= 0)
        return {};
    const double scale = std::min(pixels.width / wanted.width, pixels.height / wanted.height);
    const auto side = [&](double length, int32_t limit) {
        return std::clamp(static_cast<int32_t>(std::lround(length * scale)), 1, limit);
    };
    const int32_t width = side(wanted.width, pixels.width);
    const int32_t height = side(wanted.height, pixels.height);
    return {(pixels.width - width) / 2, (pixels.height - height) / 2, width, height};
}

void View::PictureDrawn(const PictureShape& drawnShape, std::function<bool()> newRedraw)
{
    const PortRect drawn = PlaceFor(drawnShape);
    if (!(drawn == place)) {
        const int32_t right = drawn.left + drawn.width;
        const int32_t bottom = drawn.top + drawn.height;
        Blacken(pixels, {0, 0, pixels.width, drawn.top});
        Blacken(pixels, {0, bottom, pixels.width, pixels.height - bottom});
        Blacken(pixels, {0, drawn.top, drawn.left, drawn.height});
        Blacken(pixels, {right, drawn.top, pixels.width - right, drawn.height});
    }
    place = drawn;
    shape = drawnShape;
    redraw = std::move(newRedraw);
    showsPicture = true;
    MarkPortOutdated();
    if (changed && !updating)
        changed();
}

void View::BeginPainting()
{
    showsPicture = false;
    place = {};
    redraw = nullptr;
    MarkPortOutdated();
}

void View::MarkPortOutdated()
{
    const auto owner = port.lock();
    if (!owner || portOutdated)
        return;
    portOutdated = true;
    FillWhenRead(owner->block.Get(), [weak = port] {
        if (const auto living = weak.lock())
            for (const auto& each : living->views)
                if (const auto view = each.lock())
                    view->CopyToPort();
    });
}

void View::CopyToPort()
{
    const auto owner = port.lock();
    const PortRect visible = owner ? Clipped(area, owner->pixels.width, owner->pixels.height) : PortRect{};
    if (!std::exchange(portOutdated, false) || pixels.width == 0 || visible.width == 0)
        return;
    PortPixels whole;
    const OwnedBlock scratch = MakePixels(area.width, area.height, whole);
    if (scratch.Get() == 0)
        return;
    Scale(pixels, whole);
    for (int32_t y = 0; y < visible.height; ++y)
        std::memcpy(PixelAt(owner->pixels, visible.left, visible.top + y),
                    PixelAt(whole, visible.left - area.left, visible.top - area.top + y),
                    static_cast<size_t>(visible.width) * 4);
}

void View::CopyFromPort(const PortRect& changedArea)
{
    const auto owner = port.lock();
    const PortRect onView =
        Clipped({changedArea.left - area.left, changedArea.top - area.top, changedArea.width, changedArea.height},
                area.width, area.height);
    const PortRect visible = owner ? Clipped(area, owner->pixels.width, owner->pixels.height) : PortRect{};
    if (pixels.width == 0 || onView.width == 0 || visible.width == 0)
        return;
    const auto scaled = [](int32_t value, int32_t to, int32_t from) {
        return static_cast<int32_t>(int64_t{value} * to / from);
    };
    const int32_t left = scaled(visible.left - area.left, pixels.width, area.width);
    const int32_t top = scaled(visible.top - area.top, pixels.height, area.height);
    const int32_t right = scaled(visible.left - area.left + visible.width, pixels.width, area.width);
    const int32_t bottom = scaled(visible.top - area.top + visible.height, pixels.height, area.height);
    Scale(Part(owner->pixels, visible),
          Part(pixels, {left, top, std::max(right - left, 1), std::max(bottom - top, 1)}));
    shape = {static_cast<double>(pixels.width), static_cast<double>(pixels.height)};
    place = {0, 0, pixels.width, pixels.height};
    redraw = nullptr;
    showsPicture = true;
    if (changed)
        changed();
}

std::optional<DrawingSurface> SurfaceForDrawing(PortReference port, const PortRect& area)
{
    if (const auto view = View::Find(port, area)) {
        view->BeginPainting();
        const PortPixels& pixels = view->Pixels();
        return DrawingSurface{.pixels = pixels,
                              .scaleX = static_cast<double>(pixels.width) / area.width,
                              .scaleY = static_cast<double>(pixels.height) / area.height,
                              .left = area.left,
                              .top = area.top};
    }
    if (const auto found = FindPort(port); found && found->IsReduced()) {
        const PortPixels& reduced = found->reduced.pixels;
        return DrawingSurface{.pixels = reduced,
                              .scaleX = static_cast<double>(reduced.width) / found->pixels.width,
                              .scaleY = static_cast<double>(reduced.height) / found->pixels.height,
                              .isReduced = true};
    }
    const auto pixels = PixelsOfPort(port);
    return pixels ? std::optional(DrawingSurface{.pixels = *pixels}) : std::nullopt;
}

void NoteDrawing(PortReference port, std::function<void(const DrawingSurface& whole)> drawing)
{
    // More than any window draws on a frame. After that the whole picture is used.
    constexpr size_t kMaxNoted = 1000;
    const auto found = FindPort(port);
    if (!found || !found->IsReduced())
        return;
    found->drawn.push_back(std::move(drawing));
    if (found->drawn.size() > kMaxNoted)
        PixelsOfPort(port);
}

} // namespace platform
