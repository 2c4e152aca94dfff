// SPDX-License-Identifier: MIT
#pragma once

#include "platform/drawing/Ports.h"

#include <functional>
#include <memory>

namespace platform {

struct Port;

/// Makes the part of a rectangle that is within 32-bit pixels black.
void Blacken(const PortPixels& pixels, const PortRect& rect);

/// Width to height as a picture is to be seen, whatever its number of pixels.
struct PictureShape {
    double width = 1;
    double height = 1;
};

/// A rectangle of a window's port with pixels of its own, at the density of the screen that shows it. What is drawn
/// into exactly that rectangle is drawn into these pixels and follows the rectangle when it moves or changes size. The
/// port's own pixels are brought up to date when they are read. Main thread.
class View {
public:
    /// Makes a view of a living port, at first empty. `changed` is called whenever the platform has drawn into it.
    /// The view ends with the last reference to it. Null for a dead port.
    static std::shared_ptr<View> Register(PortReference port, std::function<void()> changed);

    /// The view with exactly that rectangle, or null.
    static std::shared_ptr<View> Find(PortReference port, const PortRect& area);

    explicit View(std::weak_ptr<Port> port, std::function<void()> changed);

    /// Changes the rectangle (in the port's points) and the density (pixels for one point, above 0). What the view
    /// shows is kept: a picture is drawn again at the new size, or scaled to it where its source is gone.
    void Update(const PortRect& area, double density);

    const PortRect& Area() const { return area; }
    double Density() const { return density; }

    /// The view's pixels. They begin at the rectangle's top left corner and stay in place until `Update`. No pixels
    /// (width 0) for an empty rectangle and without memory.
    const PortPixels& Pixels() const { return pixels; }

    /// Whether the platform drew last, and not `BeginPainting`.
    bool ShowsPicture() const { return showsPicture; }

    /// Whether the port lives.
    bool IsAlive() const { return !port.expired(); }

    /// Where a picture of that shape goes: the largest rectangle of the shape, in the middle. Empty without pixels.
    PortRect PlaceFor(const PictureShape& shape) const;

    /// Called after a picture was drawn into its place: blackens the rest and tells the owner. `redraw` is called after
    /// a change of size: it draws the picture again and calls `PictureDrawn`, or answers false where it no longer can.
    void PictureDrawn(const PictureShape& shape, std::function<bool()> redraw);

    /// Called before the owner itself paints into the pixels.
    void BeginPainting();

    /// Takes over what was drawn into the port's own pixels within `changedArea`.
    void TakeFromPort(const PortRect& changedArea);

    /// Brings the port's own pixels up to date.
    void GiveToPort();

private:
    void KeepPicture(const PortPixels& old);
    void NotePortBehind();

    std::weak_ptr<Port> port;
    std::function<void()> changed;
    std::function<bool()> redraw;
    PortRect area;
    double density = 1;
    OwnedBlock block;
    PortPixels pixels;
    PortRect place; ///< of the picture in the pixels; empty before the first and after painting
    PictureShape shape;
    bool showsPicture = false;
    bool portBehind = false;
    bool updating = false;
};

/// Pixels to draw into, on behalf of a rectangle of a port. A point (x, y) of the port is at
/// ((x - left) * scaleX, (y - top) * scaleY).
struct DrawingSurface {
    PortPixels pixels;
    double scaleX = 1;
    double scaleY = 1;
    int32_t left = 0;
    int32_t top = 0;
    bool isReduced = false; ///< what is drawn must be noted with `NoteDrawing`
};

/// Where drawing into `area` of a port goes: into the pixels of its view where one has exactly that rectangle, else
/// into the port's own, or into the reduced picture that stands for them. Nothing for a dead port.
std::optional<DrawingSurface> SurfaceForDrawing(PortReference port, const PortRect& area);

/// Notes what was drawn on a reduced picture, to repeat it on the whole one.
void NoteDrawing(PortReference port, std::function<void(const DrawingSurface& whole)> drawing);

} // namespace platform
