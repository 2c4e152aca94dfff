// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/FrameGrid.h"

#include <span>
#include <vector>

namespace platform {

/// The frames of one run of the Test Pattern: their times, and their numbers from 0.
struct PatternClock {
    FrameGrid grid;
    int64_t first = 0; ///< on the grid

    /// The number of a frame of the grid in this run.
    uint32_t NumberOf(int64_t frame) const { return static_cast<uint32_t>(frame - first); }
};

/// Memory for frames of the Test Pattern in "2vuy": one picture as usual and one white. What is the same in all frames
/// is drawn once, so a frame costs the stripes, the digits and the cells.
class PatternPicture {
public:
    /// A picture of that size in pixels.
    PatternPicture(int32_t width, int32_t height);

    /// Draws a frame; the bytes are borrowed up to the next one.
    std::span<const uint8_t> Draw(uint32_t number, bool flash);

private:
    std::vector<uint8_t> plain;
    std::vector<uint8_t> white;
    int32_t width;
    int32_t height;
};

} // namespace platform
