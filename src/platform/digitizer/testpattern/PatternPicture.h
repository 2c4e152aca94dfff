// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/FrameGrid.h"

#include <span>
#include <vector>

namespace platform {

/// The frames of one run of the Test Pattern: their times, and their numbers from 0.
struct PatternClock {
    FrameGrid grid;
    int64_t first = 0; ///< number on the grid

    /// Converts a frame number on the grid to one of this run.
    uint32_t NumberOf(int64_t frame) const { return static_cast<uint32_t>(frame - first); }
};

/// Memory for frames of the Test Pattern in "2vuy": a normal one and a white one. What all frames share is drawn once,
/// so a frame only costs the stripes, the digits and the cells.
class PatternPicture {
public:
    /// A picture of that size in pixels.
    PatternPicture(int32_t width, int32_t height);

    /// Draws a frame; the bytes are valid until the next call.
    std::span<const uint8_t> Draw(uint32_t number, bool flash);

private:
    std::vector<uint8_t> plain;
    std::vector<uint8_t> white;
    int32_t width;
    int32_t height;
};

} // namespace platform
