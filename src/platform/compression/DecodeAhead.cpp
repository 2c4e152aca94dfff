// SPDX-License-Identifier: MIT
// Decoding ahead.
//
// A frame's picture goes from Waiting over InWork to Done, unless it is left out (Skipped): because newer frames are
// waiting, because the pictures before it are not taken, or because it does not decode. A frame that is delivered
// before its picture is Done is Abandoned; the picture is then kept as the late one, for the next frame. So frames
// never wait for their pictures, only a few pictures are in memory, and a machine that is too slow to decode every
// frame still shows the newest one that it managed.
#include "platform/compression/DecodeAhead.h"

#include "platform/compression/KeyFrames.h"

#include <utility>

namespace platform {
namespace {

// As many frames as may be delivered one after the other and all be shown.
constexpr size_t kMaxPictures = 3;

} // namespace

DecodeAhead::DecodeAhead(std::function<void()> done) : done(std::move(done)), thread([this] { Work(); }) {}

DecodeAhead::~DecodeAhead()
{
    {
        const std::lock_guard lock(mutex);
        ending = true;
    }
    work.notify_one();
    thread.join();
}

bool DecodeAhead::Suits(const ImageDescription& description)
{
    return !IsInterFrame(description.codec);
}

std::shared_ptr<PictureAhead> DecodeAhead::Submit(SharedFrame frame, const ImageDescription& description)
{
    auto ahead = std::make_shared<PictureAhead>();
    ahead->frame = std::move(frame);
    ahead->description = description;
    const std::lock_guard lock(mutex);
    if (waiting.size() >= kMaxPictures) {
        waiting.front()->state = State::Skipped;
        waiting.pop_front();
    }
    waiting.push_back(ahead);
    work.notify_one();
    return ahead;
}

std::unique_ptr<DecodedPicture> DecodeAhead::Take(PictureAhead& ahead)
{
    for (State present = ahead.state; ahead.IsComing();)
        if (ahead.state.compare_exchange_strong(present, State::Abandoned))
            break;
    const std::lock_guard lock(mutex);
    if (ahead.state != State::Done)
        return std::exchange(late, nullptr);
    late = nullptr;
    return std::move(ahead.picture);
}

void DecodeAhead::SetShownSize(const ShownSize& size)
{
    const std::lock_guard lock(mutex);
    shownSize = size;
}

void DecodeAhead::Work()
{
    ReducingDecoder decoder;
    ShownSize size;
    while (const auto ahead = NextWaiting()) {
        if (Begin(*ahead, size)) {
            std::unique_ptr<DecodedPicture> picture;
            decoder.Decode(std::move(ahead->frame), ahead->description, size, picture);
            Finish(ahead, std::move(picture));
        }
        done();
    }
}

// Waits for a frame; returns null at the end.
std::shared_ptr<PictureAhead> DecodeAhead::NextWaiting()
{
    std::unique_lock lock(mutex);
    work.wait(lock, [this] { return ending || !waiting.empty(); });
    if (ending)
        return nullptr;
    auto next = std::move(waiting.front());
    waiting.pop_front();
    return next;
}

bool DecodeAhead::Begin(PictureAhead& ahead, ShownSize& size)
{
    const std::lock_guard lock(mutex);
    State expected = State::Waiting;
    size = shownSize;
    const bool hasSpace = HasSpace();
    return ahead.state.compare_exchange_strong(expected, hasSpace ? State::InWork : State::Skipped) && hasSpace;
}

void DecodeAhead::Finish(const std::shared_ptr<PictureAhead>& ahead, std::unique_ptr<DecodedPicture> picture)
{
    const std::lock_guard lock(mutex);
    const bool decoded = picture != nullptr;
    ahead->picture = std::move(picture);
    State expected = State::InWork;
    if (!ahead->state.compare_exchange_strong(expected, decoded ? State::Done : State::Skipped))
        late = decoded ? std::move(ahead->picture) : std::move(late);
    else if (decoded)
        finished.push_back(ahead);
}

bool DecodeAhead::HasSpace()
{
    std::erase_if(finished, [](const auto& each) {
        const auto ahead = each.lock();
        return !ahead || !ahead->picture;
    });
    return finished.size() < kMaxPictures;
}

} // namespace platform
