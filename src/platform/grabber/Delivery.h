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

/// Takes what a `Delivery` hands over, on the thread that calls it. A result other than 0 ends the pass.
class DeliverySink {
public:
    virtual ~DeliverySink() = default;

    /// `time` is in units of the channel's time scale. The frame is the sink's to keep. With `shown` false its picture
    /// is out of date: a newer one follows at once.
    virtual Result TakeFrame(VideoChannel& channel, Sample frame, int32_t time, bool shown) = 0;
    /// Takes sound. `time` is in units of the channel's time scale.
    virtual Result TakeSound(SoundChannel& channel, const SoundStream::Piece& piece, int32_t time) = 0;

    /// Whether sound is of use at the moment.
    virtual bool WantsSound() const = 0;

    /// Asked after each handing over: a sink may pause, stop or close what feeds it.
    virtual bool GoesOn() const = 0;
};

/// Brings the samples of all recording channels into the order of their capture and hands them over. It keeps the count
/// of time from the first sample on, over all stops. Main thread.
class Delivery {
public:
    /// All three outlive the delivery; channels may come and go.
    Delivery(SampleQueue& queue, const ChannelList& channels, DeliverySink& sink)
        : queue(queue), channels(channels), sink(sink)
    {
    }

    /// What one pass hands over.
    struct Pass {
        int64_t now = 0; ///< frames that arrived later wait for the next pass

        /// Few frames go out one in a pass, so that each is seen, and the newest of many is shown. False: all go out,
        /// and none is shown.
        bool shows = true;

        /// Frames wait for the sound before them. False: silence replaces sound that has not come.
        bool waitsForSound = true;

        /// Frames captured at this time or later stay, and so does the sound behind them.
        int64_t until = kForever;
    };

    /// Hands over what is ready. The first result other than 0 of the sink.
    Result Run(const Pass& pass);

    /// Whether a frame captured before `time` waits, or is to be expected from a device or a compressor.
    bool AwaitsFrameBefore(int64_t time, int64_t now) const;

    /// Forgets what has been handed over, but keeps the count of time: the next frame is a first one.
    void Restart();

    static constexpr int64_t kForever = INT64_MAX / 4;

private:
    /// What became of an attempt to hand over sound.
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

    std::optional<int64_t> origin;       ///< capture time that counts as 0
    std::optional<int64_t> pictureAt;    ///< capture time of the last frame handed over
    std::optional<int64_t> soundAt;      ///< capture time up to which sound has been handed over
    std::array<int64_t, 4> lastBreaks{}; ///< between frames
    size_t breaksKnown = 0;

    // Of the present pass.
    size_t soundHandedOver = 0;
    size_t framesHandedOver = 0;
    bool allAtOnce = false;
};

} // namespace platform
