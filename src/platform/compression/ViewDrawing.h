// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/Matrix.h"
#include "platform/compression/PictureDrawing.h"
#include "platform/drawing/View.h"

namespace platform {

/// The display aspect ratio of frames of that size: their own, but 4 to 3 for the sizes of standard-definition
/// television (ITU-R BT.601), whose pixels are not square.
PictureShape ShapeOfFrame(int32_t width, int32_t height);

/// Draws pictures that a transform maps exactly onto a view. The picture keeps its flips and quarter turns, and follows
/// the view with its aspect ratio.
class ViewDrawing {
public:
    /// Checks whether `transform` maps `part` exactly onto a view of `port`.
    ViewDrawing(PortReference port, const PortRect& part, const Transform& transform);

    /// The view; null if there is none or it has been destroyed.
    std::shared_ptr<View> Target() const { return view.lock(); }

    /// Draws the picture onto the whole of its place in `target`, which is returned. `redraw` as for
    /// `View::PictureDrawn`.
    PortRect Draw(const SourcePixels& source, const PictureShape& shape, View& target, PictureDrawing& drawing,
                  std::function<bool()> redraw) const;

    /// The place where `Draw` would draw at present.
    PortRect PlaceOf(const PictureShape& shape, const View& target) const { return target.PlaceFor(Seen(shape)); }

    /// Whether the picture's rows are vertical in the view.
    bool IsTurned() const { return unit.b != 0; }

private:
    PictureShape Seen(const PictureShape& shape) const;

    std::weak_ptr<View> view;
    Transform unit; ///< maps the unit square onto itself
};

} // namespace platform
