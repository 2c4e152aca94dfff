// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Color.h"
#include "framework/String.h"
#include "platform/drawing/Ports.h"

#include <cstdint>
#include <memory>

class QImage;

namespace framework {

/// Draws into a rectangle of a port: a picture's or a canvas's. Positions are in pixels from its top left corner, and
/// what lies outside of it is clipped.
class Graphics {
public:
    /// Over `area` of a port; `port` must outlive the object.
    Graphics(platform::PortReference port, const platform::PortRect& area);
    ~Graphics();
    Graphics(const Graphics&) = delete;
    Graphics& operator=(const Graphics&) = delete;

    /// The size of the surface in pixels.
    int32_t Width() const;
    int32_t Height() const;

    void ForeColor(Color color);   ///< black at first
    void TextSize(int32_t points); ///< in pixels; 0 is the system's small size
    void Bold(bool bold);
    void TextFont(const String& family); ///< "System" and "SmallSystem" name the interface fonts

    void FillRect(int32_t x, int32_t y, int32_t width, int32_t height);
    void DrawRect(int32_t x, int32_t y, int32_t width, int32_t height); ///< a one-pixel frame inside the rectangle

    /// Width of the text on one line.
    double StringWidth(const String& text) const;
    /// Height of the text, broken at `wrapWidth` (0: on one line): ascent plus descent for each line.
    int32_t StringHeight(const String& text, int32_t wrapWidth) const;
    /// Draws with the baseline of the first line at `y`, breaking at `wrapWidth` unless that is 0. With `condense`, a
    /// single line too wide for `wrapWidth` ends in an ellipsis instead.
    void DrawString(const String& text, int32_t x, int32_t y, int32_t wrapWidth = 0, bool condense = false);

    /// Has what each drawing covers kept from now on, so that the picture without it can be had.
    void KeepCovered();

    /// Begins a drawing: what was covered before is forgotten.
    void ForgetDrawing();

    /// Puts what was covered back into an image of the port's pixels. False when nothing was drawn.
    bool Uncover(QImage& image) const;

    /// The platform's reference of a kind: 2 is the port. 0 for other kinds.
    int32_t Handle(int32_t kind) const;

private:
    struct State;
    std::unique_ptr<State> state;
};

} // namespace framework
