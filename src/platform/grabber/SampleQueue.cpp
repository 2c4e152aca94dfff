// SPDX-License-Identifier: MIT
#include "platform/grabber/SampleQueue.h"

#include "platform/compression/KeyFrames.h"

#include <algorithm>

namespace platform {

void SampleQueue::OpenLane(int32_t lane, size_t mostSamples, std::function<void(int64_t)> dropped)
{
    const std::lock_guard lock(mutex);
    Waiting& opened = lanes[lane];
    opened.most = mostSamples;
    opened.dropped = std::move(dropped);
}

void SampleQueue::CloseLane(int32_t lane)
{
    const std::lock_guard lock(mutex);
    const auto found = lanes.find(lane);
    if (found == lanes.end())
        return;
    for (const Sample& sample : found->second.samples)
        bytes -= sample.data.Size();
    lanes.erase(found);
}

void SampleQueue::Put(int32_t lane, Sample sample)
{
    if (Add(lane, std::move(sample)))
        ready();
}

// Whether a frame may have become ready by this.
bool SampleQueue::Add(int32_t lane, Sample sample)
{
    const std::lock_guard lock(mutex);
    const auto found = lanes.find(lane);
    if (found == lanes.end())
        return false;
    Waiting& target = found->second;
    if (target.samples.size() >= target.most)
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
    while (bytes > kMostBytes)
        DropOldest();
    ++samplesPut;
    sampleCame.notify_one();
    return isReady;
}

bool SampleQueue::FrameWaitsBeside(const Waiting& sound) const
{
    return std::ranges::any_of(
        lanes, [&](const auto& each) { return &each.second != &sound && !each.second.samples.empty(); });
}

void SampleQueue::WaitForSample(int milliseconds)
{
    std::unique_lock lock(mutex);
    const uint64_t before = samplesPut;
    sampleCame.wait_for(lock, std::chrono::milliseconds(milliseconds), [&] { return samplesPut != before; });
}

SampleQueue::Lane SampleQueue::Look(int32_t lane) const
{
    const std::lock_guard lock(mutex);
    const auto found = lanes.find(lane);
    if (found == lanes.end() || found->second.samples.empty())
        return {};
    const auto& samples = found->second.samples;
    const auto isComing = [](const Sample& frame) { return frame.picture && frame.picture->IsComing(); };
    const Sample& first = samples.front();
    Lane look{.waiting = samples.size(), .captureTime = first.captureTime, .arrivalTime = first.arrivalTime};
    look.pictureIsComing = isComing(first);
    if (samples.size() > 1) {
        look.nextCaptureTime = samples[1].captureTime;
        look.nextArrivalTime = samples[1].arrivalTime;
        look.nextPictureIsComing = isComing(samples[1]);
    }
    look.end = samples.back().captureTime + samples.back().duration;
    return look;
}

std::optional<Sample> SampleQueue::Take(int32_t lane)
{
    const std::lock_guard lock(mutex);
    const auto found = lanes.find(lane);
    if (found == lanes.end() || found->second.samples.empty())
        return std::nullopt;
    return TakeFirst(found->second);
}

void SampleQueue::Clear()
{
    const std::lock_guard lock(mutex);
    for (auto& [number, lane] : lanes) {
        lane.samples.clear();
        lane.needsKey = true;
    }
    bytes = 0;
    RequestKeyFrame();
}

Sample SampleQueue::TakeFirst(Waiting& lane)
{
    Sample first = std::move(lane.samples.front());
    lane.samples.pop_front();
    bytes -= first.data.Size();
    return first;
}

void SampleQueue::DropOldest()
{
    Waiting* oldest = nullptr;
    for (auto& [number, lane] : lanes)
        if (!lane.samples.empty() &&
            (!oldest || lane.samples.front().captureTime < oldest->samples.front().captureTime))
            oldest = &lane;
    DropFirst(*oldest);
}

void SampleQueue::DropFirst(Waiting& lane)
{
    do {
        lane.dropped(TakeFirst(lane).captureTime);
    } while (!lane.samples.empty() && !lane.samples.front().isKey);
    if (lane.samples.empty()) {
        lane.needsKey = true;
        RequestKeyFrame();
    }
}

} // namespace platform
