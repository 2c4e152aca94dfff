// SPDX-License-Identifier: MIT
#include "platform/grabber/SampleQueue.h"

#include "platform/compression/KeyFrames.h"

#include <algorithm>

namespace platform {
namespace {

constexpr size_t kMaxShown = 8;

} // namespace

void SampleQueue::OpenTrackQueue(int32_t track, size_t maxSamples, std::function<void(int64_t)> dropped)
{
    const std::lock_guard lock(mutex);
    TrackQueue& opened = trackQueues[track];
    opened.max = maxSamples;
    opened.dropped = std::move(dropped);
}

void SampleQueue::CloseTrackQueue(int32_t track)
{
    const std::lock_guard lock(mutex);
    const auto found = trackQueues.find(track);
    if (found == trackQueues.end())
        return;
    for (const Sample& sample : found->second.samples)
        bytes -= sample.data.Size();
    trackQueues.erase(found);
}

void SampleQueue::Put(int32_t track, Sample sample)
{
    if (Add(track, std::move(sample)))
        ready();
}

// Whether a frame may have become ready because of this sample.
bool SampleQueue::Add(int32_t track, Sample sample)
{
    const std::lock_guard lock(mutex);
    const auto found = trackQueues.find(track);
    if (found == trackQueues.end())
        return false;
    TrackQueue& target = found->second;
    if (target.samples.size() >= target.max)
        DropFirst(target);
    if (target.needsKey && !sample.isKey) {
        target.dropped(sample.captureTime);
        return false;
    }
    target.needsKey = false;
    const bool isReady =
        sample.duration > 0 ? FrameWaitsBeside(target) : !sample.picture || !sample.picture->IsComing();
    bytes += sample.data.Size();
    target.samples.push_back(std::move(sample));
    // Only the newest waiting frame is shown, and what is shown may be large.
    if (target.samples.size() > kMaxShown)
        target.samples[target.samples.size() - kMaxShown - 1].sent = {};
    while (bytes > kMaxBytes)
        DropOldest();
    ++samplesPut;
    sampleCame.notify_one();
    return isReady;
}

bool SampleQueue::FrameWaitsBeside(const TrackQueue& sound) const
{
    return std::ranges::any_of(
        trackQueues, [&](const auto& each) { return &each.second != &sound && !each.second.samples.empty(); });
}

void SampleQueue::WaitForSample(int milliseconds)
{
    std::unique_lock lock(mutex);
    const uint64_t before = samplesPut;
    sampleCame.wait_for(lock, std::chrono::milliseconds(milliseconds), [&] { return samplesPut != before; });
}

SampleQueue::State SampleQueue::Look(int32_t track) const
{
    const std::lock_guard lock(mutex);
    const auto found = trackQueues.find(track);
    if (found == trackQueues.end() || found->second.samples.empty())
        return {};
    const auto& samples = found->second.samples;
    const auto isComing = [](const Sample& frame) { return frame.picture && frame.picture->IsComing(); };
    const Sample& first = samples.front();
    State look{.waiting = samples.size(), .captureTime = first.captureTime, .arrivalTime = first.arrivalTime};
    look.pictureIsComing = isComing(first);
    if (samples.size() > 1) {
        look.nextCaptureTime = samples[1].captureTime;
        look.nextArrivalTime = samples[1].arrivalTime;
        look.nextPictureIsComing = isComing(samples[1]);
    }
    look.end = samples.back().captureTime + samples.back().duration;
    return look;
}

std::optional<Sample> SampleQueue::Take(int32_t track)
{
    const std::lock_guard lock(mutex);
    const auto found = trackQueues.find(track);
    if (found == trackQueues.end() || found->second.samples.empty())
        return std::nullopt;
    return TakeFirst(found->second);
}

void SampleQueue::Clear(bool begins)
{
    const std::lock_guard lock(mutex);
    for (auto& [number, each] : trackQueues) {
        each.samples.clear();
        each.needsKey = !begins;
    }
    bytes = 0;
    RequestKeyFrame();
}

Sample SampleQueue::TakeFirst(TrackQueue& from)
{
    Sample first = std::move(from.samples.front());
    from.samples.pop_front();
    bytes -= first.data.Size();
    return first;
}

void SampleQueue::DropOldest()
{
    TrackQueue* oldest = nullptr;
    for (auto& [number, each] : trackQueues)
        if (!each.samples.empty() &&
            (!oldest || each.samples.front().captureTime < oldest->samples.front().captureTime))
            oldest = &each;
    DropFirst(*oldest);
}

void SampleQueue::DropFirst(TrackQueue& from)
{
    do {
        from.dropped(TakeFirst(from).captureTime);
    } while (!from.samples.empty() && !from.samples.front().isKey);
    if (from.samples.empty()) {
        from.needsKey = true;
        RequestKeyFrame();
    }
}

} // namespace platform
