// SPDX-License-Identifier: MIT
#pragma once

#include "platform/grabber/Sample.h"
#include "platform/grabber/SequenceGrabber.h"

#include <cstdint>
#include <optional>

namespace platform {

/// Decides before which frame a recording goes on in another file, and before
/// which it ends. A file begins with a frame that a decoder can begin with:
/// where the frame at the boundary is none, a key frame is asked for and waited
/// for.
class RecordingSplits {
public:
    enum class Step { GoOn, NextFile, End };

    /// Begins a recording under a rule.
    void Begin(const SGSplitRule& newRule);

    /// Asked once for each frame of the recording, before it is recorded.
    Step Before(const Sample& frame);

    /// Counts each piece of sound that is recorded.
    void CountSound(int64_t size) { bytes += size; }

private:
    bool IsPastEnd(const Sample& frame) const;
    bool IsDue(const Sample& frame) const;
    static bool CanBeginFile(const Sample& frame);

    SGSplitRule rule;
    int64_t start = 0;                ///< capture time of the first frame of all
    std::optional<int64_t> fileStart; ///< capture time at which the present file was due to begin
    int64_t lastTime = 0;             ///< capture time of the frame before
    int64_t frames = 0;               ///< of all files
    int64_t bytes = 0;                ///< in the present file
    bool keyFrameRequested = false;
};

} // namespace platform
