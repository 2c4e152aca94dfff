// SPDX-License-Identifier: MIT
#pragma once

#include "platform/grabber/ChannelList.h"
#include "platform/grabber/SampleQueue.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace platform {

/// Receives what a `Delivery` delivers, on the thread that calls it. A result other than 0 ends the pass.
class DeliverySink {
public:
    virtual ~DeliverySink() = default;

    /// Takes a frame, which the sink may keep. `time` is in units of the channel's time scale. If `shown` is false its
    /// picture is out of date, since a newer one follows at once.
    virtual Result TakeFrame(VideoChannel& channel, Sample frame, int32_t time, bool shown) = 0;
    /// Takes sound. `time` is in units of the channel's time scale.
    virtual Result TakeSound(SoundChannel& channel, const SoundStream::Piece& piece, int32_t time) = 0;

    /// Whether sound is wanted at the moment.
    virtual bool WantsSound() const = 0;

    /// Asked after each sample: a sink may pause, stop or close what feeds it.
    virtual bool GoesOn() const = 0;
};

/// Sorts the samples of all recording channels by capture time and delivers them. It counts time from the first sample
/// on, across all stops. Main thread.
class Delivery {
public:
    /// All three must outlive this object; channels may come and go.
    Delivery(SampleQueue& queue, const ChannelList& channels, DeliverySink& sink)
        : queue(queue), channels(channels), sink(sink)
    {
    }

    /// What one pass delivers.
    struct Pass {
        int64_t now = 0; ///< frames that arrive later wait for the next pass

        /// Few frames are delivered one per pass, so that each is seen; of many, the newest is shown. False: all are
        /// delivered and none is shown.
        bool shows = true;

        /// Frames wait for the sound before them. False: silence replaces sound that has not arrived.
        bool waitsForSound = true;

        /// Frames captured at this time or later stay in the queue, and so does the sound after them.
        int64_t until = kForever;
    };

    /// Delivers what is ready. Returns the first result of the sink other than 0.
    Result Run(const Pass& pass);

    /// Whether a frame captured before `time` is waiting, or is expected from a device or a compressor.
    bool AwaitsFrameBefore(int64_t time, int64_t now) const;

    /// Forgets what was delivered but continues to count time: the next frame is a first one.
    void Restart();

    static constexpr int64_t kForever = INT64_MAX / 4;

private:
    /// The result of an attempt to deliver sound.
    enum class SoundStep { HandedOver, Reached, MustWait };

    bool RunStep(const Pass& pass, Result& result);
    std::shared_ptr<VideoChannel> NextFrame(const Pass& pass, SampleQueue::State& queued) const;
    bool ManyFramesWait(int64_t now) const;
    bool FollowsAtOnce(const SampleQueue::State& queued, const Pass& pass) const;
    SoundStep RunSound(SoundChannel& channel, const SampleQueue::State& frame, const Pass& pass, Result& result);
    bool PlaceSound(SoundStream& stream, bool frameWaits, int64_t now) const;
    static bool MayCome(const SoundChannel& channel, int64_t frameArrival, const Pass& pass);
    Result HandOverFrame(VideoChannel& channel, bool shown);
    Result HandOverSound(SoundChannel& channel, const SoundStream::Piece& piece);
    bool PicturesAwaited(int64_t now) const;
    int64_t SoundLimit(const Pass& pass) const;
    void NoteFrame(int64_t captureTime);
    int32_t TimeOf(int64_t captureTime, int32_t scale);

    SampleQueue& queue;
    const ChannelList& channels;
    DeliverySink& sink;

    std::optional<int64_t> origin;       ///< capture time of time 0
    std::optional<int64_t> pictureAt;    ///< capture time of the last delivered frame
    std::optional<int64_t> soundAt;      ///< capture time up to which sound was delivered
    std::array<int64_t, 4> lastBreaks{}; ///< between frames
    size_t breaksKnown = 0;

    // Of the present pass.
    size_t soundHandedOver = 0;
    size_t framesHandedOver = 0;
    bool allAtOnce = false;
};

} // namespace platform
