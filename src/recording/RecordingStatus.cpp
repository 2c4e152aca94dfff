// SPDX-License-Identifier: MIT
// The status of a recording, put together from the writer's status, the channel's counts and the clock. In data
// procedure mode it counts the frames that the writer took; in direct mode the control sees no frames and uses the
// grabber's count.
#include "recording/RecordingStatus.h"

#include "capture/VelmoraCanvas.h"
#include "platform/clock/MonotonicClock.h"
#include "platform/grabber/SequenceGrabber.h"
#include "platform/movies/Movies.h"

#include <algorithm>
#include <utility>

namespace velmora {
namespace {

// How long after a dropped frame the machine counts as too slow.
constexpr int64_t kLately = 5 * platform::kNanosecondsPerSecond;

uint64_t LostIn(const platform::SGChannelCounts& counts)
{
    return counts.droppedInQueue + counts.lostBeforeUs + counts.unreadable;
}

double Seconds(int64_t nanoseconds)
{
    return static_cast<double>(nanoseconds) / platform::kNanosecondsPerSecond;
}

} // namespace

void VelmoraCanvas::BeginTally(const FolderItem& file)
{
    tally = {};
    tally.path = file.AbsolutePath().Bytes();
    tally.began = platform::MonotonicNow();
    // In direct mode the grabber's counts start at 0 with each recording.
    if (!UseDataProc)
        return;
    const platform::SGChannelCounts counts = platform::SGGetChannelCounts(sgVideoChannel);
    tally.delivered.Begin(counts.delivered);
    tally.lost.Begin(LostIn(counts));
    tally.damaged.Begin(counts.damaged);
    tally.incomplete.Begin(counts.incomplete);
    tally.notShown.Begin(counts.notShown);
    tally.away.Begin(static_cast<uint64_t>(counts.awayNanoseconds));
    tally.dropped.Begin(counts.droppedInQueue);
}

RecordingStatus VelmoraCanvas::Status()
{
    RecordingStatus& status = tally.latest;
    platform::MovieStorageStatus storage;
    status.recording =
        isActive && (UseDataProc ? isRecording && platform::GetMovieStorageStatus(moviedatahandler->Long(0), storage)
                                 : platform::SGGetRecordingStatus(theSGComp, storage));
    status.path = tally.path;
    if (status.recording) {
        status.seconds = Seconds(platform::MonotonicNow() - tally.began);
        status.bytes = storage.fileBytes;
        status.waitingBytes = storage.waitingBytes;
        status.bufferBytes = storage.bufferBytes;
        status.freeBytes = storage.freeBytes;
        status.secondsLeft = storage.secondsLeft;
        tally.KeepFirstFailure(storage.failure);
        tally.repeated = tally.repeatedBefore + static_cast<uint64_t>(storage.framesLost);
        CountInTally();
    }
    status.failure = tally.failure;
    status.finished = tally.finished;
    return status;
}

std::vector<LostFrame> VelmoraCanvas::TakeLostFrames()
{
    constexpr const char* kCauses[] = {"device", "queue", "unreadable", "damaged"};
    std::vector<LostFrame> frames;
    for (const platform::SGLostFrame& lost : platform::SGTakeLostFrames(sgVideoChannel))
        frames.push_back({lost.captureTime, kCauses[static_cast<size_t>(lost.cause)]});
    return frames;
}

void VelmoraCanvas::CountInTally()
{
    RecordingStatus& status = tally.latest;
    const platform::SGChannelCounts counts = platform::SGGetChannelCounts(sgVideoChannel);
    const uint64_t delivered = tally.delivered.Follow(counts.delivered);
    // The writer accepts a frame that does not fit its memory, and repeats the previous one instead.
    const uint64_t frames = UseDataProc ? tally.frames : delivered;
    status.frames = frames - std::min(frames, tally.repeated);
    status.lost = tally.lost.Follow(LostIn(counts)) + tally.refused + tally.repeated;
    status.damaged = tally.damaged.Follow(counts.damaged);
    status.incomplete = tally.incomplete.Follow(counts.incomplete);
    status.notShown = tally.notShown.Follow(counts.notShown);
    status.awaySeconds =
        Seconds(static_cast<int64_t>(tally.away.Follow(static_cast<uint64_t>(counts.awayNanoseconds))));
    status.cameraAway = counts.away;
    const int64_t now = platform::MonotonicNow();
    const uint64_t dropped = tally.dropped.Follow(counts.droppedInQueue);
    if (std::exchange(tally.droppedBefore, dropped) != dropped)
        tally.droppedAt = now;
    status.tooSlow = tally.droppedAt != 0 && now - tally.droppedAt < kLately;
}

} // namespace velmora
