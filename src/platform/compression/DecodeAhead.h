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

/// The picture of one frame on its way through `DecodeAhead`. Any thread.
class PictureAhead {
public:
    /// Whether the picture is to be expected.
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
    std::unique_ptr<DecodedPicture> picture; ///< belongs to the worker until the state is `Done`, then to the taker
};

/// Decodes frames that are going to be shown on a thread of its own, while they wait to be handed over. It is free to
/// leave frames out: when it falls behind, and while its pictures are not taken. One thread submits, the main thread
/// takes.
class DecodeAhead {
public:
    /// `done` is called on the worker's thread whenever a picture is no longer coming.
    explicit DecodeAhead(std::function<void()> done = [] {});
    ~DecodeAhead();
    DecodeAhead(const DecodeAhead&) = delete;
    DecodeAhead& operator=(const DecodeAhead&) = delete;

    /// Whether frames of that kind are decoded each by itself, which is what leaving some out asks for.
    static bool Suits(const ImageDescription& description);

    /// Queues a frame for decoding; its picture is taken later by the result.
    std::shared_ptr<PictureAhead> Submit(SharedFrame frame, const ImageDescription& description);

    /// Takes the picture of a frame that is being handed over. Where that isn't done, the newest of an earlier frame
    /// that was late itself; null when there is none.
    std::unique_ptr<DecodedPicture> Take(PictureAhead& ahead);

    /// The size at which frames are shown from now on; until the first call they are decoded whole.
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
    std::deque<std::weak_ptr<PictureAhead>> finished; ///< not taken yet, as far as they live
    std::unique_ptr<DecodedPicture> late;             ///< the newest whose frame was handed over before it was done
    ShownSize shownSize = kWholeSize;
    bool ending = false;
    std::thread thread;
};

} // namespace platform
