// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/Matrix.h"
#include "platform/compression/PictureDrawing.h"
#include "platform/drawing/View.h"

namespace platform {

/// The shape in which frames of that size are to be seen: their own, but 4 to 3 for the sizes of standard-definition
/// television (ITU-R BT.601), whose pixels are not square.
PictureShape ShapeOfFrame(int32_t width, int32_t height);

/// Draws pictures that a transform maps exactly onto a view. The picture keeps its flips and quarter turns, and goes
/// where the view is at the time, in its shape.
class ViewDrawing {
public:
    /// Looks whether `transform` maps `part` exactly onto a view of `port`.
    ViewDrawing(PortReference port, const PortRect& part, const Transform& transform);

    /// The view; null where there is none or it has ended.
    std::shared_ptr<View> Target() const { return view.lock(); }

    /// Draws the picture onto the whole of its place in `target`, which is returned. `redraw` as in
    /// `View::PictureDrawn`.
    PortRect Draw(const SourcePixels& source, const PictureShape& shape, View& target, PictureDrawing& drawing,
                  std::function<bool()> redraw) const;

    /// Where `Draw` would draw now.
    PortRect PlaceOf(const PictureShape& shape, const View& target) const { return target.PlaceFor(Seen(shape)); }

    /// Whether the picture's rows run up and down in the view.
    bool IsTurned() const { return unit.b != 0; }

private:
    PictureShape Seen(const PictureShape& shape) const;

    std::weak_ptr<View> view;
    Transform unit; ///< of the unit square onto itself
};

} // namespace platform
