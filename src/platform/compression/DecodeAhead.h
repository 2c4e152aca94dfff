// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/ReducingDecoder.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace platform {

/// The picture of one frame while `DecodeAhead` decodes it. Any thread.
class PictureAhead {
public:
    /// Whether the picture is still expected.
    bool IsComing() const
    {
        const State present = state;
        return present == State::Waiting || present == State::InWork;
    }

private:
    friend class DecodeAhead;
    enum class State { Waiting, InWork, Done, Skipped, Abandoned };

    std::atomic<State> state{State::Waiting};
    SharedFrame frame;
    ImageDescription description;
    std::unique_ptr<DecodedPicture> picture; ///< owned by the worker until the state is `Done`, then by the taker
};

/// Decodes frames that are going to be shown on its own thread, while they wait for delivery. It may leave frames out:
/// when it falls behind, and while its pictures are not taken. One thread submits, the main thread takes.
class DecodeAhead {
public:
    /// `done` is called on the worker's thread whenever a picture is no longer expected.
    explicit DecodeAhead(std::function<void()> done = [] {});
    ~DecodeAhead();
    DecodeAhead(const DecodeAhead&) = delete;
    DecodeAhead& operator=(const DecodeAhead&) = delete;

    /// Whether frames of that kind can be decoded independently, so that some can be left out.
    static bool Suits(const ImageDescription& description);

    /// Queues a frame for decoding. Pass the result to `Take` to get its picture.
    std::shared_ptr<PictureAhead> Submit(SharedFrame frame, const ImageDescription& description);

    /// Takes the picture of a frame that is being delivered. If that is not decoded yet, returns the newest late
    /// picture of an earlier frame; null if there is none.
    std::unique_ptr<DecodedPicture> Take(PictureAhead& ahead);

    /// Sets the size at which frames are shown; until the first call they are decoded at full size.
    void SetShownSize(const ShownSize& size);

private:
    using State = PictureAhead::State;

    void Work();
    std::shared_ptr<PictureAhead> NextWaiting();
    bool Begin(PictureAhead& ahead, ShownSize& size);
    void Finish(const std::shared_ptr<PictureAhead>& ahead, std::unique_ptr<DecodedPicture> picture);
    bool HasSpace();

    const std::function<void()> done;
    std::mutex mutex;
    std::condition_variable work;
    std::deque<std::shared_ptr<PictureAhead>> waiting;
    std::deque<std::weak_ptr<PictureAhead>> finished; ///< not taken yet, as far as they still exist
    std::unique_ptr<DecodedPicture> late; ///< the newest picture whose frame was delivered before it was done
    ShownSize shownSize = kWholeSize;
    bool ending = false;
    std::thread thread;
};

} // namespace platform
