// How a recording is going: what the writer, the channel's counts and the clock tell together. In data procedure mode
// the frames are those that the writer took; in direct mode the control sees none, and the grabber's count stands for
// them.
#include "recording/RecordingStatus.h"

#include "capture/VelmoraCanvas.h"
#include "platform/clock/MonotonicClock.h"
#include "platform/grabber/SequenceGrabber.h"

namespace velmora {

void VelmoraCanvas::BeginTally(const FolderItem& file)
{
    const platform::SGChannelCounts counts = platform::SGGetChannelCounts(sgVideoChannel);
    tally = {};
    tally.path = file.AbsolutePath().Bytes();
    tally.began = platform::MonotonicNow();
    // The grabber's own recording is a session of its own, whose counts begin with it.
    tally.delivered.Begin(UseDataProc ? counts.delivered : 0);
    tally.lost.Begin(UseDataProc ? counts.droppedInQueue + counts.lostBeforeUs + counts.unreadable : 0);
}

RecordingStatus VelmoraCanvas::Status()
{
    RecordingStatus status;
    status.recording = isActive;
    if (!status.recording)
        return status;
    const platform::SGChannelCounts counts = platform::SGGetChannelCounts(sgVideoChannel);
    const uint64_t delivered = tally.delivered.Follow(counts.delivered);
    const uint64_t lost = tally.lost.Follow(counts.droppedInQueue + counts.lostBeforeUs + counts.unreadable);
    status.path = tally.path;
    status.seconds = static_cast<double>(platform::MonotonicNow() - tally.began) / platform::kNanosecondsPerSecond;
    status.frames = UseDataProc ? tally.frames : delivered;
    status.lost = lost + tally.refused;
    return status;
}

} // namespace velmora
