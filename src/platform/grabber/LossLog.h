// SPDX-License-Identifier: MIT
#pragma once

#include "platform/grabber/SequenceGrabber.h"

#include <mutex>
#include <utility>
#include <vector>

namespace platform {

/// The frames that a channel lost, one by one. Any thread.
class LossLog {
public:
    /// Adds a frame; ignores those after the first 100000.
    void Note(int64_t captureTime, SGLostFrame::Cause cause)
    {
        const std::lock_guard lock(mutex);
        if (lost.size() < kMaxFrames)
            lost.push_back({captureTime, cause});
    }

    /// Returns the frames since the last call.
    std::vector<SGLostFrame> Take()
    {
        const std::lock_guard lock(mutex);
        return std::exchange(lost, {});
    }

private:
    static constexpr size_t kMaxFrames = 100'000;

    std::mutex mutex;
    std::vector<SGLostFrame> lost;
};

} // namespace platform
