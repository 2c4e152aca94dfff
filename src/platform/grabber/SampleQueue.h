// SPDX-License-Identifier: MIT
#pragma once

#include "platform/grabber/Sample.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>

namespace platform {

/// The bounded queue of one session, with a track queue for each channel, found by the channel's number. Devices and
/// compressors add samples on their own threads, the main thread takes them out; each track queue keeps its samples in
/// order.
class SampleQueue {
public:
    /// The state of a track queue.
    struct State {
        size_t waiting = 0;
        int64_t captureTime = 0;      ///< of the first sample
        int64_t arrivalTime = 0;      ///< of the first sample
        bool pictureIsComing = false; ///< whether the first sample's picture is still being decoded

        // Of the second sample, if there are two or more.
        int64_t nextCaptureTime = 0;
        int64_t nextArrivalTime = 0;
        bool nextPictureIsComing = false;

        int64_t end = 0; ///< end of the capture of the last sample
    };

    /// Sets a function to be called, on any thread, when a waiting frame may have become ready for delivery: it
    /// arrived, its picture was decoded, or sound before it arrived. Call this before the first track queue is opened.
    void OnReady(std::function<void()> function) { ready = std::move(function); }

    /// Opens a track queue for at most `maxSamples`. `dropped` is called with the capture time of each sample that is
    /// dropped, on the thread that adds another one; it must outlive the track queue and must not call the queue.
    void OpenTrackQueue(int32_t track, size_t maxSamples, std::function<void(int64_t captureTime)> dropped);

    /// Closes a track queue and discards its samples. Samples added to it later are ignored.
    void CloseTrackQueue(int32_t track);

    /// Adds a sample at the end of a track queue. A full track queue drops its first sample; a queue with too many
    /// bytes drops the oldest sample of all. Samples that can't be decoded without a dropped one are dropped as well.
    void Put(int32_t track, Sample sample);

    /// Reports that a frame's picture is decoded or was left out.
    void PictureDone() const { ready(); }

    /// The state of a track queue.
    State Look(int32_t track) const;

    /// Waits until another sample is added, for at most that many milliseconds of the real clock.
    void WaitForSample(int milliseconds);

    /// Removes and returns the first sample of a track queue, if there is one.
    std::optional<Sample> Take(int32_t track);

    /// Forgets all that waits, uncounted. Samples that build on what was forgotten are dropped when they come, except
    /// where recording or preview begins: a movie leaves them out itself, and they can be shown meanwhile.
    void Clear(bool begins = false);

    /// Maximum number of bytes in all track queues together.
    static constexpr int64_t kMaxBytes = int64_t{256} << 20;

private:
    struct TrackQueue {
        std::deque<Sample> samples;
        size_t max = 0;
        std::function<void(int64_t)> dropped;
        bool needsKey = false; ///< the sample on which the next one depends was dropped
    };

    bool Add(int32_t track, Sample sample);
    bool FrameWaitsBeside(const TrackQueue& from) const;
    Sample TakeFirst(TrackQueue& from);
    void DropOldest();
    void DropFirst(TrackQueue& from);

    std::function<void()> ready = [] {};
    mutable std::mutex mutex;
    std::condition_variable sampleCame;
    uint64_t samplesPut = 0;
    std::map<int32_t, TrackQueue> trackQueues;
    int64_t bytes = 0;
};

} // namespace platform
