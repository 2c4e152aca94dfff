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
/// compressors put samples in on their own threads, the main thread takes them out; each track queue keeps the order in
/// which its samples came.
class SampleQueue {
public:
    /// What waits in a track queue.
    struct State {
        size_t waiting = 0;
        int64_t captureTime = 0;      ///< of the first sample
        int64_t arrivalTime = 0;      ///< of the first sample
        bool pictureIsComing = false; ///< whether the first sample's picture is still being decoded

        // Of the second sample, where two or more wait.
        int64_t nextCaptureTime = 0;
        int64_t nextArrivalTime = 0;
        bool nextPictureIsComing = false;

        int64_t end = 0; ///< when the capture of the last sample ended
    };

    /// Has a function called, on any thread, when a waiting frame may have become ready to be handed over: it came, its
    /// picture was decoded, or sound came before it. Called before the first track queue is opened.
    void OnReady(std::function<void()> function) { ready = std::move(function); }

    /// Opens a track queue that holds at most `maxSamples`. `dropped` is called with the capture time of each sample
    /// that has to be given up, on the thread that puts another one in; it outlives the track queue and calls nothing
    /// of the queue.
    void OpenTrackQueue(int32_t track, size_t maxSamples, std::function<void(int64_t captureTime)> dropped);

    /// Ends a track queue with what waits in it. Samples put into it later are ignored.
    void CloseTrackQueue(int32_t track);

    /// Puts a sample at the end of a track queue. A full one gives its first sample up; a queue that holds too many
    /// bytes gives up the oldest sample of all. What can't be decoded without a sample given up goes with it.
    void Put(int32_t track, Sample sample);

    /// Reports that a frame's picture is no longer coming: it is there, or was left out.
    void PictureDone() const { ready(); }

    /// The state of a track queue.
    State Look(int32_t track) const;

    /// Waits until another sample is put into the queue, for at most so many milliseconds of the real clock.
    void WaitForSample(int milliseconds);

    /// Takes the first sample of a track queue, if there is any.
    std::optional<Sample> Take(int32_t track);

    /// Forgets all that waits, uncounted. Samples that build on what was forgotten are dropped when they come, except
    /// where recording or preview begins: a movie leaves them out itself, and they can be shown meanwhile.
    void Clear(bool begins = false);

    /// Bytes that may wait in all track queues together.
    static constexpr int64_t kMaxBytes = int64_t{256} << 20;

private:
    struct TrackQueue {
        std::deque<Sample> samples;
        size_t max = 0;
        std::function<void(int64_t)> dropped;
        bool needsKey = false; ///< the sample that the next one builds on was given up
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
