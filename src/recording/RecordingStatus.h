// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

namespace velmora {

/// When a recording continues in another file, and when it ends; 0: no limit. Each file starts with a key frame, and no
/// frame or sample is lost between two files.
struct RecordingLimits {
    double fileSeconds = 0; ///< per file
    int64_t fileBytes = 0;  ///< per file
    double seconds = 0;     ///< of all files
    int64_t frames = 0;     ///< of all files

    /// Whether any limit is set.
    bool Any() const { return fileSeconds > 0 || fileBytes > 0 || seconds > 0 || frames > 0; }
};

/// Progress of the present recording, or the result of the last one, in both modes. See `VelmoraCanvas::Status`.
struct RecordingStatus {
    bool recording = false; ///< a movie is being written
    std::string path{};
    double seconds = 0; ///< since `Record`
    int64_t bytes = 0;  ///< size of the file, including data that is still in memory

    uint64_t frames = 0;     ///< in the movie
    uint64_t lost = 0;       ///< lost by the device or by a full queue or buffer, or rejected by the writer
    uint64_t damaged = 0;    ///< not decodable, and therefore left out of the movie
    uint64_t incomplete = 0; ///< in the movie, but with parts lost in transfer
    uint64_t notShown = 0;   ///< in the movie, but skipped on the screen

    double secondsLeft = -1;  ///< until the disk is full, at the present rate; negative: not known yet
    int64_t freeBytes = -1;   ///< free space on the disk; negative: not known yet
    int64_t waitingBytes = 0; ///< in the writer's buffer, waiting for the disk
    int64_t bufferBytes = 0;  ///< capacity of that buffer
    bool tooSlow = false;     ///< frames were lost in the last seconds because the machine is too slow
    bool cameraAway = false;  ///< the camera is disconnected at present
    double awaySeconds = 0;   ///< how long it was disconnected in this recording, all outages together

    int32_t failure = 0;   ///< first failure of the writer or of finishing the file, as a result code; 0: none
    bool finished = false; ///< `Stop` completed the file or left that to the writer thread

    /// Fraction of the writer's buffer in use, 0 to 1.
    double BufferUsed() const
    {
        return bufferBytes > 0 ? static_cast<double>(waitingBytes) / static_cast<double>(bufferBytes) : 0;
    }
};

/// A frame that is missing from the movie.
struct LostFrame {
    int64_t captureTime = 0; ///< in nanoseconds, monotonic clock
    std::string cause{};     ///< "device", "queue", "unreadable" or "damaged"
};

/// Sums up a counter that may restart from 0, as a session's counts do at each start. Call `Follow` regularly: what the
/// counter gained between the last call and a restart is not seen.
class RunningCount {
public:
    /// Sets the sum to 0; `now` is the counter's present value.
    void Begin(uint64_t now)
    {
        last = now;
        sum = 0;
    }
    /// Adds what the counter gained since the last call. Returns the sum.
    uint64_t Follow(uint64_t now)
    {
        sum += now < last ? now : now - last;
        last = now;
        return sum;
    }

private:
    uint64_t last = 0;
    uint64_t sum = 0;
};

/// What the control keeps from `Record` on in order to answer `Status`.
struct RecordingTally {
    std::string path{};
    int64_t began = 0; ///< in nanoseconds, monotonic clock
    uint64_t frames = 0;
    uint64_t refused = 0;
    uint64_t repeated = 0;       ///< frames that did not fit the writer's buffer
    uint64_t repeatedBefore = 0; ///< of these, in earlier files of this recording
    RunningCount delivered, lost, damaged, incomplete, notShown, away, dropped;
    uint64_t droppedBefore = 0;
    int64_t droppedAt = 0; ///< when frames were last dropped before the compressor or the queue; 0: never
    int32_t failure = 0;
    bool finished = false;
    RecordingStatus latest; ///< as last returned while recording

    /// Stores the result if it is the first failure. Returns the result.
    int32_t KeepFirstFailure(int32_t result)
    {
        if (failure == 0)
            failure = result;
        return result;
    }
};

} // namespace velmora
