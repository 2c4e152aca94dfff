#pragma once

#include <cstdint>
#include <string>

namespace velmora {

/// What `VelmoraCanvas::Status` tells of the recording in progress, in both modes. All of it counts from `Record`.
struct RecordingStatus {
    bool recording = false; ///< a movie is being written; everything below is of no meaning without one
    std::string path;
    double seconds = 0;
    int64_t bytes = 0; ///< of the file, with what still waits in memory

    uint64_t frames = 0;   ///< in the movie
    uint64_t lost = 0;     ///< by the device, by a full queue, or refused by the writer
    uint64_t damaged = 0;  ///< found to be no frames and kept out of the movie
    uint64_t notShown = 0; ///< in the movie, but skipped on the screen

    double secondsLeft = -1;  ///< until the disk is full, at the present rate; negative: not known yet
    int64_t freeBytes = -1;   ///< the same in bytes
    double bufferUsed = 0;    ///< share of the writer's memory that waits for the disk, 0 to 1
    int64_t waitingBytes = 0; ///< the same in bytes
    bool cameraAway = false;  ///< the camera is gone at this moment
    double awaySeconds = 0;   ///< how long it has been away, this outage and earlier ones
    int32_t failure = 0;      ///< first failure of the writer, as a result code; 0: none
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
    std::string path;
    int64_t began = 0; ///< nanoseconds of the monotonic clock
    uint64_t frames = 0;
    uint64_t refused = 0;
    RunningCount delivered, lost, damaged, notShown, away;
};

} // namespace velmora
