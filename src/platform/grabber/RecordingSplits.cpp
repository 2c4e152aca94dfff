// SPDX-License-Identifier: MIT
// Boundaries in time are on a grid that starts with the first frame, so that a file that starts a little late, waiting
// for a key frame, doesn't delay the later ones. A boundary less than half a frame away counts as reached.
//
// The size of a file is that of its samples, plus some space for its tables and for the frames before the requested key
// frame.
#include "platform/grabber/RecordingSplits.h"

#include "platform/compression/KeyFrames.h"

#include <utility>

namespace platform {
namespace {

// Tables and journal: a few bytes per sample, and a fraction of a large file.
constexpr int64_t kTableShare = 64;
constexpr int64_t kTableBytes = 64 * 1024;
constexpr int64_t kFramesUntilKey = 4;

} // namespace

void RecordingSplits::Begin(const SGSplitRule& newRule)
{
    *this = {};
    rule = newRule;
}

bool RecordingSplits::CanBeginFile(const Sample& frame)
{
    return IsKeyFrame(frame.description->image.codec, frame.data.Bytes());
}

bool RecordingSplits::IsPastEnd(const Sample& frame) const
{
    const int64_t halfFrame = (frame.captureTime - lastTime) / 2;
    return (rule.frames > 0 && frames == rule.frames) ||
           (rule.nanoseconds > 0 && fileStart && frame.captureTime - start + halfFrame >= rule.nanoseconds);
}

bool RecordingSplits::IsDue(const Sample& frame) const
{
    if (!fileStart)
        return false;
    const int64_t halfFrame = (frame.captureTime - lastTime) / 2;
    if (rule.fileNanoseconds > 0 && frame.captureTime - *fileStart + halfFrame >= rule.fileNanoseconds)
        return true;
    const int64_t room = rule.fileBytes / kTableShare + kTableBytes + (kFramesUntilKey + 1) * frame.data.Size();
    return rule.fileBytes > 0 && bytes + room > rule.fileBytes;
}

RecordingSplits::Step RecordingSplits::Before(const Sample& frame)
{
    // A movie accepts no frames before its first key frame.
    if (!fileStart && !CanBeginFile(frame))
        return Step::GoOn;
    if (IsPastEnd(frame))
        return Step::End;
    ++frames;
    const bool due = IsDue(frame);
    const int64_t previous = std::exchange(lastTime, frame.captureTime);
    if (!fileStart)
        fileStart = start = frame.captureTime;
    if (!due || !CanBeginFile(frame)) {
        bytes += frame.data.Size();
        if (due && !std::exchange(keyFrameRequested, true))
            RequestKeyFrame();
        return Step::GoOn;
    }
    keyFrameRequested = false;
    bytes = frame.data.Size();
    const int64_t reached = frame.captureTime + (frame.captureTime - previous) / 2;
    if (rule.fileNanoseconds > 0 && reached - *fileStart >= rule.fileNanoseconds)
        *fileStart += (reached - *fileStart) / rule.fileNanoseconds * rule.fileNanoseconds;
    else
        fileStart = frame.captureTime;
    return Step::NextFile;
}

} // namespace platform
