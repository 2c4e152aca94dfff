// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Color.h"
#include "framework/String.h"
#include "platform/drawing/Ports.h"

#include <cstdint>
#include <memory>

class QImage;

namespace framework {

/// Draws into a rectangle of a port: that of a picture or a canvas. Positions are in pixels from its top left corner;
/// drawing outside of it is clipped.
class Graphics {
public:
    /// Draws into `area` of `port`. A port that was released is ignored.
    Graphics(platform::PortReference port, const platform::PortRect& area);
    ~Graphics();
    Graphics(const Graphics&) = delete;
    Graphics& operator=(const Graphics&) = delete;

    int32_t Width() const;  ///< of the rectangle, in pixels
    int32_t Height() const; ///< of the rectangle, in pixels

    void ForeColor(Color color);         ///< initially black
    void TextSize(int32_t points);       ///< in pixels; 0 is the system's small size
    void Bold(bool bold);                ///< initially off
    void TextFont(const String& family); ///< "System" and "SmallSystem" are the interface fonts

    void FillRect(int32_t x, int32_t y, int32_t width, int32_t height); ///< fills the rectangle
    void DrawRect(int32_t x, int32_t y, int32_t width, int32_t height); ///< a one-pixel frame inside the rectangle

    /// Width of the text on one line, in pixels.
    double StringWidth(const String& text) const;
    /// Height of the text in pixels, wrapped at `wrapWidth` (0: not wrapped): ascent plus descent for each line.
    int32_t StringHeight(const String& text, int32_t wrapWidth) const;
    /// Draws text with the baseline of the first line at `y`, wrapped at `wrapWidth` (0: not wrapped). With `condense`
    /// the text stays on one line and ends in an ellipsis if it is wider than `wrapWidth`.
    void DrawString(const String& text, int32_t x, int32_t y, int32_t wrapWidth = 0, bool condense = false);

    /// From now on keeps the pixels that each drawing covers, for `Uncover`.
    void KeepCovered();

    /// Starts a new drawing: discards the covered pixels kept so far.
    void ForgetDrawing();

    /// Restores the covered pixels in a copy of the port's image. Returns false if nothing was drawn.
    bool Uncover(QImage& image) const;

    /// The platform's reference of that kind: the port for 2; 0 for other kinds.
    int32_t Handle(int32_t kind) const;

private:
    struct State;
    std::unique_ptr<State> state;
};

} // namespace framework
