// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

namespace velmora {

/// Where a recording goes on in another file, and where it ends; 0: nowhere. A file begins with a frame that can be
/// decoded by itself, and each frame and sample is in one of the files.
struct RecordingLimits {
    double fileSeconds = 0;
    int64_t fileBytes = 0;
    double seconds = 0; ///< of all files
    int64_t frames = 0; ///< of all files

    bool Any() const { return fileSeconds > 0 || fileBytes > 0 || seconds > 0 || frames > 0; }
};

/// What `VelmoraCanvas::Status` tells of the recording in progress, in both modes; after it, of the last one.
struct RecordingStatus {
    bool recording = false; ///< a movie is being written
    std::string path{};
    double seconds = 0; ///< since `Record`
    int64_t bytes = 0;  ///< of the file, with what still waits in memory

    uint64_t frames = 0;     ///< in the movie
    uint64_t lost = 0;       ///< by the device, by a full queue or buffer, or refused by the writer
    uint64_t damaged = 0;    ///< found to be no frames and kept out of the movie
    uint64_t incomplete = 0; ///< in the movie, though parts of them were lost on the way
    uint64_t notShown = 0;   ///< in the movie, but skipped on the screen

    double secondsLeft = -1;  ///< until the disk is full, at the present rate; negative: not known yet
    int64_t freeBytes = -1;   ///< the same in bytes
    int64_t waitingBytes = 0; ///< in the writer's memory, on their way to the disk
    int64_t bufferBytes = 0;  ///< how many may wait there
    bool tooSlow = false;     ///< frames were lost of late because this machine can't compress or write them in time
    bool cameraAway = false;  ///< the camera is gone at this moment
    double awaySeconds = 0;   ///< how long it has been away, this outage and earlier ones of this recording

    int32_t failure = 0;   ///< first failure of the writer or of finishing the file, as a result code; 0: none
    bool finished = false; ///< `Stop` completed the file, or left that to the writer in the background

    /// Share of the writer's memory in use, 0 to 1.
    double BufferUsed() const
    {
        return bufferBytes > 0 ? static_cast<double>(waitingBytes) / static_cast<double>(bufferBytes) : 0;
    }
};

/// A frame that is in no movie.
struct LostFrame {
    int64_t captureTime = 0; ///< nanoseconds of the monotonic clock
    std::string cause{};     ///< "device", "queue", "unreadable" or "damaged"
};

/// Adds a count up while its source may begin again from 0, as a session's counts do at each start. `Follow` has to be
/// called now and then; what an earlier run of the source counted since the last call is not seen.
class RunningCount {
public:
    void Begin(uint64_t now)
    {
        last = now;
        sum = 0;
    }
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

/// What the control notes at `Record` and while it records, in order to answer `Status`.
struct RecordingTally {
    std::string path{};
    int64_t began = 0; ///< nanoseconds of the monotonic clock
    uint64_t frames = 0;
    uint64_t refused = 0;
    uint64_t repeated = 0;       ///< frames for which the writer's memory had no room
    uint64_t repeatedBefore = 0; ///< of these, in files that the recording has left
    RunningCount delivered, lost, damaged, incomplete, notShown, away, dropped;
    uint64_t droppedBefore = 0;
    int64_t droppedAt = 0; ///< when the last frames were dropped in front of the compressor or the queue; 0: never
    int32_t failure = 0;
    bool finished = false;
    RecordingStatus latest; ///< as it was when last asked for while recording

    /// Keeps the first failure; returns the result.
    int32_t Keep(int32_t result)
    {
        if (failure == 0)
            failure = result;
        return result;
    }
};

} // namespace velmora
