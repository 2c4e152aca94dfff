// SPDX-License-Identifier: MIT
#include "platform/grabber/Channel.h"

#include "platform/clock/MonotonicClock.h"
#include "platform/log/Log.h"
#include "platform/memory/ReferenceTable.h"

#include <algorithm>

namespace platform {
namespace {

// How long a device may be silent, beyond its usual interval between two samples, before the others continue without
// it. A busy machine delays a thread by some tens of milliseconds; a picture that freezes for much longer is noticed.
constexpr int64_t kPatience = 400 * kNanosecondsPerMillisecond;
constexpr int64_t kMaxInterval = 2 * kNanosecondsPerSecond;

ReferenceTable<Channel>& Channels()
{
    static auto* table = new ReferenceTable<Channel>(kChannelReference);
    return *table;
}

} // namespace

bool Channel::IsUsedIn(GrabMode mode) const
{
    return (mode == GrabMode::Preview && (usage & seqGrabPreview) != 0) ||
           (mode == GrabMode::Record && (usage & seqGrabRecord) != 0);
}

Result Channel::Run()
{
    resting = false;
    if (running)
        return noErr;
    arrivedSinceStart = false;
    gone = false;
    startTime = MonotonicNow();
    const Result result = StartDevice();
    running = result == noErr || result == noDeviceForChannel;
    if (result != noErr) {
        gone = true;
        BeginOutage(startTime);
    }
    grabberLog.Info("channel ", number.load(), " runs, result ", result);
    return result;
}

void Channel::Halt()
{
    accepting = false;
    if (running) {
        StopDevice();
        grabberLog.Info("channel ", number.load(), " halts");
    }
    running = false;
    resting = false;
    EndOutage(MonotonicNow());
}

void Channel::Rest()
{
    accepting = false;
    resting = running;
}

bool Channel::IsAwaitedAt(int64_t now, int64_t startPatience) const
{
    if (!running || gone)
        return false;
    return arrivedSinceStart ? now - lastArrival < kPatience + usualBreak : now - startTime < startPatience;
}

void Channel::ForgetSettings()
{
    usage = 0;
    playFlags = 0;
    feeds = 0;
    description = nullptr;
    ResetCounts();
}

void Channel::OpenTrackQueue(size_t maxSamples)
{
    queue.OpenTrackQueue(number, maxSamples, [this](int64_t captureTime) {
        CountLost(counts.droppedInQueue, captureTime, SGLostFrame::Cause::Queue);
    });
}

void Channel::CountLost(std::atomic<uint64_t>& count, int64_t captureTime, SGLostFrame::Cause cause)
{
    ++count;
    lost.Note(captureTime, cause);
}

SGChannelCounts Channel::Counts() const
{
    const int64_t start = outageStart;
    return {.delivered = counts.delivered,
            .droppedInQueue = counts.droppedInQueue,
            .lostBeforeUs = counts.lostBeforeUs,
            .unreadable = counts.unreadable,
            .damaged = counts.damaged,
            .incomplete = counts.incomplete,
            .notShown = counts.notShown,
            .awayNanoseconds = outagesBefore + (start == 0 ? 0 : MonotonicNow() - start),
            .away = start != 0};
}

void Channel::ResetCounts()
{
    for (auto* count : {&counts.delivered, &counts.droppedInQueue, &counts.lostBeforeUs, &counts.unreadable,
                        &counts.damaged, &counts.incomplete, &counts.notShown})
        *count = 0;
    outagesBefore = 0;
    if (outageStart != 0)
        outageStart = MonotonicNow();
}

void Channel::NoteArrival(int64_t now, int64_t breakBetween)
{
    lastArrival = now;
    usualBreak = std::clamp<int64_t>(breakBetween, 0, kMaxInterval);
    arrivedSinceStart = true;
    gone = false;
    EndOutage(now);
}

void Channel::NoteFailure(Result result)
{
    grabberLog.Warning("device of channel ", number.load(), " failed: ", result);
    failure = result;
    gone = true;
    BeginOutage(MonotonicNow());
}

void Channel::BeginOutage(int64_t now)
{
    int64_t present = 0;
    outageStart.compare_exchange_strong(present, now);
}

void Channel::EndOutage(int64_t now)
{
    if (const int64_t start = outageStart.exchange(0); start != 0)
        outagesBefore += now - start;
}

std::shared_ptr<Channel> FindChannel(SGChannel number)
{
    return Channels().Find(number);
}

void RegisterChannel(std::shared_ptr<Channel> channel)
{
    Channel& registered = *channel;
    registered.number = Channels().Add(std::move(channel));
}

void UnregisterChannel(SGChannel number)
{
    Channels().Remove(number);
}

} // namespace platform
