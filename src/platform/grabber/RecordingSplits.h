// SPDX-License-Identifier: MIT
#pragma once

#include "platform/grabber/Sample.h"
#include "platform/grabber/SequenceGrabber.h"

#include <cstdint>
#include <optional>

namespace platform {

/// Decides before which frame a recording continues in another file, and before which it ends. A file starts with a
/// frame at which a decoder can start: if the frame at the boundary is not one, a key frame is requested and awaited.
class RecordingSplits {
public:
    enum class Step { GoOn, NextFile, End };

    /// Starts a recording with a rule.
    void Begin(const SGSplitRule& newRule);

    /// Call it once for each frame, before it is recorded.
    Step Before(const Sample& frame);

    /// Counts a piece of sound that is recorded.
    void CountSound(int64_t size) { bytes += size; }

private:
    bool IsPastEnd(const Sample& frame) const;
    bool IsDue(const Sample& frame) const;
    static bool CanBeginFile(const Sample& frame);

    SGSplitRule rule;
    int64_t start = 0;                ///< capture time of the first frame of all files
    std::optional<int64_t> fileStart; ///< capture time at which the present file was due to start
    int64_t lastTime = 0;             ///< capture time of the previous frame
    int64_t frames = 0;               ///< in all files
    int64_t bytes = 0;                ///< in the present file
    bool keyFrameRequested = false;
};

} // namespace platform
