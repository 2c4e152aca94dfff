// SPDX-License-Identifier: MIT
#pragma once

#include "platform/drawing/Ports.h"

#include <functional>
#include <memory>

namespace platform {

struct Port;

/// Fills the part of a rectangle that is within 32-bit pixels with black.
void Blacken(const PortPixels& pixels, const PortRect& rect);

/// The display aspect ratio of a picture, which may differ from its size in pixels.
struct PictureShape {
    double width = 1;
    double height = 1;
};

/// A rectangle of a window's port with its own pixels, at the density of the screen. What is drawn into exactly that
/// rectangle goes into these pixels and is kept when the rectangle moves or changes its size. The port's own pixels are
/// updated when they are read. Main thread only.
class View {
public:
    /// Creates an empty view of a port. `changed` is called whenever the platform has drawn into it. The view lasts
    /// until its last reference is released. Null for an invalid port.
    static std::shared_ptr<View> Register(PortReference port, std::function<void()> changed);

    /// The port's view with exactly that rectangle, or null.
    static std::shared_ptr<View> Find(PortReference port, const PortRect& area);

    /// For `Register`.
    explicit View(std::weak_ptr<Port> port, std::function<void()> changed);

    /// Sets the rectangle (in points of the port) and the density (pixels per point, above 0). The content is kept: a
    /// picture is drawn again at the new size, or scaled if its source is gone.
    void Update(const PortRect& area, double density);

    const PortRect& Area() const { return area; } ///< the rectangle, in points of the port
    double Density() const { return density; }    ///< pixels per point

    /// The pixels of the rectangle, valid until `Update`. No pixels (width 0) if the rectangle is empty or memory is
    /// full.
    const PortPixels& Pixels() const { return pixels; }

    /// Whether the view shows a picture of the platform, and not what its owner painted.
    bool ShowsPicture() const { return showsPicture; }

    /// Whether the port still exists.
    bool IsAlive() const { return !port.expired(); }

    /// The largest centred rectangle of that aspect ratio, in pixels. Empty without pixels.
    PortRect PlaceFor(const PictureShape& shape) const;

    /// Call it after drawing a picture into `PlaceFor`: fills the rest with black and calls `changed`. `redraw` is
    /// called after a change of size: it draws the picture again and calls `PictureDrawn`, or returns false if it
    /// cannot.
    void PictureDrawn(const PictureShape& shape, std::function<bool()> redraw);

    /// Call it before the owner paints into the pixels.
    void BeginPainting();

    /// Copies `changedArea` of the port's own pixels into the view.
    void CopyFromPort(const PortRect& changedArea);

    /// Copies the view into the port's own pixels, if they are out of date.
    void CopyToPort();

private:
    void KeepPicture(const PortPixels& old);
    void MarkPortOutdated();

    std::weak_ptr<Port> port;
    std::function<void()> changed;
    std::function<bool()> redraw;
    PortRect area;
    double density = 1;
    OwnedBlock block;
    PortPixels pixels;
    PortRect place; ///< of the picture, in pixels; empty before the first picture and after painting
    PictureShape shape;
    bool showsPicture = false;
    bool portOutdated = false;
    bool updating = false;
};

/// The pixels to draw into for a rectangle of a port. Point (x, y) of the port is at
/// ((x - left) * scaleX, (y - top) * scaleY).
struct DrawingSurface {
    PortPixels pixels;
    double scaleX = 1;
    double scaleY = 1;
    int32_t left = 0;
    int32_t top = 0;
    bool isReduced = false; ///< drawing must also be recorded with `NoteDrawing`
};

/// Where to draw for `area` of a port: the pixels of a view with exactly that rectangle, else the reduced picture or
/// the port's own pixels. Nothing for an invalid port.
std::optional<DrawingSurface> SurfaceForDrawing(PortReference port, const PortRect& area);

/// Records a drawing on a reduced picture, to be repeated on the whole one.
void NoteDrawing(PortReference port, std::function<void(const DrawingSurface& whole)> drawing);

} // namespace platform
