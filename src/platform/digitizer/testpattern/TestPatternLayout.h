// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/FourCharCode.h"

#include <array>
#include <cstdint>
#include <optional>
#include <span>

namespace platform {

/// The Test Pattern's picture, drawn and read back. From top to bottom, in parts of the height:
///
///   0 to 1/2       eight upright colour bars
///   1/2 to 5/8     stripes that move to the right with each frame
///   5/8 to 25/32   the frame number in digits, white on black
///   4/5 to 13/15   the frame number in cells, see below
///   13/15 to 1     a ramp from black to white
///
/// In each corner lies a mark of an eighth of width and height: red at the top left, green at the top right, blue at
/// the bottom left, yellow at the bottom right. On a flash everything but marks, digits and cells is white.
///
/// The cells are two rows of 40, each a fortieth of the width and a thirtieth of the height. From the left: a white
/// and a black guard, the 32 bits of the number from the highest (white is 1), four check bits, a white and a
/// black guard. The lower row is the negative of the upper one, so a reader needs no threshold, and half of one frame
/// above half of another, a mirrored picture or any other content reads as nothing.
///
/// What overlays draw at the edges and in the corners' outer halves (frames, a clock) disturbs no reading.
inline constexpr int kPatternCells = 40;

/// An area in pixels.
struct PatternArea {
    int32_t left = 0;
    int32_t top = 0;
    int32_t width = 0;
    int32_t height = 0;
};

struct PatternColor {
    uint8_t red = 0;
    uint8_t green = 0;
    uint8_t blue = 0;

    bool operator==(const PatternColor&) const = default;
};

inline constexpr PatternColor kPatternWhite{255, 255, 255};
inline constexpr PatternColor kPatternBlack{0, 0, 0};

enum class PatternCorner { TopLeft, TopRight, BottomLeft, BottomRight };

/// Pixels to draw on, borrowed: "2vuy", "yuvs" or 32 (blue, green, red, unused). `rowBytes` may exceed the packed row.
/// Sides are at least 160 and 60; widths of the two 4:2:2 layouts are even.
struct PatternSurface {
    uint8_t* pixels = nullptr;
    FourCharCode format = 0;
    int32_t width = 0;
    int32_t height = 0;
    int32_t rowBytes = 0;
};

/// The cells of a frame number from left to right, true for white in the upper row.
std::array<bool, kPatternCells> FrameNumberCells(uint32_t number);

/// Where cell `index` lies, in the upper row or in its negative below.
PatternArea FrameNumberCellArea(int index, bool upper, int32_t width, int32_t height);

/// The rectangle of a corner mark.
PatternArea CornerMarkArea(PatternCorner corner, int32_t width, int32_t height);
/// The colour of a corner mark.
PatternColor CornerMarkColor(PatternCorner corner);

/// Fills an area, clipped to the surface. Horizontal edges are moved to even places in the 4:2:2 layouts.
void FillPatternArea(const PatternSurface& surface, PatternArea area, PatternColor color);

/// Draws the parts that are alike in every frame: all white with `flash`.
void DrawPatternBackground(const PatternSurface& surface, bool flash);

/// Draws what changes from frame to frame over a background: stripes (not on a flash), digits and cells.
void DrawPatternFrame(const PatternSurface& surface, uint32_t number, bool flash);

/// Draws the cells alone.
void DrawFrameNumber(const PatternSurface& surface, uint32_t number);

/// The frame number in a picture of 32-bit pixels (blue, green, red, unused), or nothing where none stands clearly.
std::optional<uint32_t> ReadFrameNumber(const uint8_t* pixels, int32_t width, int32_t height, int32_t rowBytes);

/// The same for the luma of a picture: `step` bytes from one luma sample to the next.
std::optional<uint32_t> ReadFrameNumberFromLuma(const uint8_t* luma, int32_t step, int32_t width, int32_t height,
                                                int32_t rowBytes);

/// Which corner's mark is seen in the corner `place` of a picture of 32-bit pixels; nothing where none is.
std::optional<PatternCorner> ReadCornerMark(PatternCorner place, const uint8_t* pixels, int32_t width, int32_t height,
                                            int32_t rowBytes);

/// Whether a picture of 32-bit pixels is a flash: the area of the colour bars is white.
bool ReadFlash(const uint8_t* pixels, int32_t width, int32_t height, int32_t rowBytes);

} // namespace platform
