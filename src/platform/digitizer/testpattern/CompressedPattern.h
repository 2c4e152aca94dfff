// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/FrameCompressor.h"
#include "platform/digitizer/testpattern/PatternPicture.h"

#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <thread>

namespace platform {

/// The codec of compressed frames.
inline constexpr FourCharCode kPatternCodec = CodeOf("jpeg");

/// Frames of the Test Pattern as JPEG, drawn and compressed by separate threads, a few ahead of the requested one.
class CompressedPattern {
public:
    using Ready = std::function<void(int64_t frame)>;

    /// Starts with the clock's first frame. `ready` is called once for each requested frame, on any thread; it must not
    /// call this object.
    CompressedPattern(int32_t width, int32_t height, const PatternClock& clock, Ready ready);
    CompressedPattern(const CompressedPattern&) = delete;
    CompressedPattern& operator=(const CompressedPattern&) = delete;

    /// Stops the threads. Afterwards `ready` is not called any more.
    ~CompressedPattern();

    /// Requests a frame, which must not precede the previous request.
    void Await(int64_t frame);

    /// The requested frame; empty if it could not be compressed.
    OwnedBlock Take(int64_t frame);

    /// Whether a frame is being compressed or is ready.
    bool HasBegun(int64_t frame);

private:
    void Work();
    std::optional<int64_t> NextJob();

    const int32_t width;
    const int32_t height;
    const PatternClock clock;
    const Ready ready;

    std::mutex mutex; // guards the following
    std::condition_variable changed;
    std::map<int64_t, OwnedBlock> frames; ///< that are ready
    int64_t next;                         ///< the frame that a thread compresses next
    int64_t awaited;
    bool isReported = true; ///< whether `ready` was called for the requested frame
    bool isEnding = false;
    std::vector<std::thread> threads;
};

} // namespace platform
