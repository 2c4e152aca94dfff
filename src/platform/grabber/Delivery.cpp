// SPDX-License-Identifier: MIT
// The order in which samples are delivered.
//
// Frames and sound are delivered in the order of their capture times: the sound up to a frame's time, cut to the
// sample, then the frame, then the sound after it. Sound comes in pieces of at most ten milliseconds.
//
// Why this order keeps sound and pictures of the file in sync: a writer that follows the published procedure gives each
// frame the distance from the previous frame as its duration, and counts sound samples. Let frames be captured at t(0),
// t(1), ... and let a recording start with frame k. Frame j is then shown from t(j-1) - t(k-1) on. A moment T between
// t(j-1) and t(j) is seen in frame j, and heard at T - s, where s is the capture time of the first sound sample in the
// file. So sound lags the picture by
//
//     (T - t(j-1)) - (s - t(k-1))
//
// The first part is between 0 and one frame, whatever we do. The second part must be so as well:
//
//  - A recording can only start between two calls of Idle. What was delivered by then ends with some frame k-1 and
//    sound up to a time S, not before t(k-1) and not after t(k). In a second or third recording the first piece of
//    sound is written whole, and s = S.
//  - In the first recording the writer trims its first piece of sound to the length of the frames written by then. A
//    piece before frame k is dropped, since no frame has been written yet; one after it is shorter than the frame's
//    duration and can't be written. Either way one piece is lost, and s is at most S + 10 ms. This is why pieces are
//    short.
//  - S would usually stay at t(k-1), because sound reaches us sooner than a frame does, and sound would lag by up to a
//    frame. So sound is delivered ahead of the next frame, but only by half of the shortest recent frame interval: it
//    doesn't overtake the frame, and the lag is mostly between minus half a frame and half a frame.
//  - A recording that starts before the very first frame has no interval for it and gives it a sixth of a second. The
//    first frame is therefore delivered before all sound, followed by a lead-in of silence that ends at its time and is
//    longer than that sixth. The writer keeps the end of the lead-in, and both start together.
//
// All this requires that the sound has no gaps and keeps up with the pictures. A frame therefore waits until the sound
// has reached it, as long as the source is known to deliver; otherwise silence replaces the sound, and what the source
// delivers too late is left out. Sound waits for frames in the same way, and is delivered at once if none come.
//
// Writing a frame never waits for showing one. A pass that finds many frames delivers all of them, one after the other,
// and only the last one is to be shown: decoding, which takes many times as long as writing, is done once per pass, and
// a main thread that can't show every picture still records every frame.
#include "platform/grabber/Delivery.h"

#include "platform/clock/MonotonicClock.h"

#include <algorithm>
#include <span>

namespace platform {
namespace {

constexpr int64_t kLeadIn = 200 * kNanosecondsPerMillisecond;
constexpr int64_t kLongSilence = kNanosecondsPerSecond;
// How long the sound of a started session waits for the first frame.
constexpr int64_t kPatienceForFirstFrame = kNanosecondsPerSecond;
// A frame that has waited this long is delivered, whatever the sound does.
constexpr int64_t kMaxWait = kNanosecondsPerSecond;
// Sound that arrives in bursts holds back frames and releases them together. Up to this many are delivered one per
// pass, so that each is seen; if there are more, the main thread is behind.
constexpr size_t kFewFrames = 3;
// How long a frame waits for its picture; then it is delivered, and a later frame brings the picture.
constexpr int64_t kPictureWait = 25 * kNanosecondsPerMillisecond;
// One unit of the time scale of pictures, rounded up.
constexpr int64_t kMinFrameDuration = kNanosecondsPerSecond / 600 + 1;

} // namespace

Result Delivery::Run(const Pass& pass)
{
    soundHandedOver = 0;
    framesHandedOver = 0;
    allAtOnce = !pass.shows || ManyFramesWait(pass.now);
    Result result = noErr;
    while (result == noErr && sink.GoesOn() && RunStep(pass, result)) {
    }
    return result;
}

// Delivers what comes next. Returns false if nothing can be delivered yet.
bool Delivery::RunStep(const Pass& pass, Result& result)
{
    SampleQueue::State frame;
    const auto pictures = NextFrame(pass, frame);
    // The sink may dispose of the channel for which it is called.
    for (auto sound : channels.sound) {
        if (!sound->IsUsedIn(GrabMode::Record) || !sink.WantsSound())
            continue;
        const SoundStep step = RunSound(*sound, frame, pass, result);
        if (step != SoundStep::Reached)
            return step == SoundStep::HandedOver;
    }
    if (!pictures || (framesHandedOver > 0 && !allAtOnce))
        return false;
    ++framesHandedOver;
    result = HandOverFrame(*pictures, pass.shows && !FollowsAtOnce(frame, pass));
    return true;
}

// The channel with the earliest frame among those that had arrived when the pass started: so a pass ends even if the
// main thread can't keep up.
std::shared_ptr<VideoChannel> Delivery::NextFrame(const Pass& pass, SampleQueue::State& found) const
{
    std::shared_ptr<VideoChannel> next;
    for (const auto& video : channels.video) {
        const auto queued = queue.Look(video->number);
        if (queued.waiting == 0 || queued.arrivalTime > pass.now || queued.captureTime >= pass.until)
            continue;
        if (pass.shows && queued.pictureIsComing && queued.waiting <= kFewFrames &&
            pass.now - queued.arrivalTime < kPictureWait)
            continue;
        if (!next || queued.captureTime < found.captureTime) {
            found = queued;
            next = video;
        }
    }
    return next;
}

bool Delivery::ManyFramesWait(int64_t now) const
{
    return std::ranges::any_of(channels.video, [&](const auto& video) {
        const auto queued = queue.Look(video->number);
        return queued.waiting > kFewFrames && queued.arrivalTime <= now;
    });
}

// Whether the frame after the first one of a track queue is delivered in this pass as well.
bool Delivery::FollowsAtOnce(const SampleQueue::State& queued, const Pass& pass) const
{
    if (!allAtOnce || queued.waiting < 2 || queued.nextArrivalTime > pass.now)
        return false;
    if (queued.nextPictureIsComing && queued.waiting - 1 <= kFewFrames &&
        pass.now - queued.nextArrivalTime < kPictureWait)
        return false;
    return std::ranges::all_of(channels.sound, [&](const auto& sound) {
        return !sound->IsUsedIn(GrabMode::Record) || !sink.WantsSound() ||
               sound->Stream().ArrivedUpTo() >= queued.nextCaptureTime ||
               !MayCome(*sound, queued.nextArrivalTime, pass);
    });
}

Delivery::SoundStep Delivery::RunSound(SoundChannel& channel, const SampleQueue::State& frame, const Pass& pass,
                                       Result& result)
{
    const bool frameWaits = frame.waiting > 0;
    SoundStream& stream = channel.Stream();
    if (!stream.HasBegun() && !PlaceSound(stream, frameWaits, pass.now))
        return SoundStep::Reached;
    if (!soundAt && pictureAt) {
        const auto leadIn = stream.Silence(*pictureAt, kLeadIn, channel.PresentDescription());
        if (leadIn) {
            result = HandOverSound(channel, *leadIn);
            return SoundStep::HandedOver;
        }
    }
    const int64_t limit = frameWaits ? frame.captureTime : SoundLimit(pass);
    // The silence of a long gap may come in long pieces, except the first piece of a pass: a recording that has just
    // started may lose that one.
    const bool longGap = frameWaits && limit - stream.Position() > kLongSilence;
    const int64_t longest = longGap && soundHandedOver > 0 ? kLongSilence : SoundStream::kMaxPiece;
    auto piece = stream.Next(limit, longest);
    if (!piece && frameWaits && !stream.Reaches(limit)) {
        if (MayCome(channel, frame.arrivalTime, pass))
            return SoundStep::MustWait;
        piece = stream.Silence(limit, longest, channel.PresentDescription());
    }
    if (!piece)
        return SoundStep::Reached;
    result = HandOverSound(channel, *piece);
    return SoundStep::HandedOver;
}

// Sets the time at which a stream starts. Returns false while it waits for the first frame.
bool Delivery::PlaceSound(SoundStream& stream, bool frameWaits, int64_t now) const
{
    if (!soundAt && !pictureAt && (frameWaits || PicturesAwaited(now)))
        return false;
    if (soundAt)
        stream.MoveTo(*soundAt);
    else if (pictureAt)
        stream.MoveTo(*pictureAt - kLeadIn);
    return true;
}

// Whether a frame that arrived at that time may continue to wait for the sound before it.
bool Delivery::MayCome(const SoundChannel& channel, int64_t frameArrival, const Pass& pass)
{
    return pass.waitsForSound && channel.IsAwaitedAt(pass.now, 0) && pass.now - frameArrival < kMaxWait;
}

bool Delivery::PicturesAwaited(int64_t now) const
{
    return std::ranges::any_of(channels.video, [&](const auto& channel) {
        return channel->IsUsedIn(GrabMode::Record) && channel->IsAwaitedAt(now, kPatienceForFirstFrame);
    });
}

// How far ahead sound may be delivered while no frame waits.
int64_t Delivery::SoundLimit(const Pass& pass) const
{
    if (!pass.waitsForSound || !pictureAt || !PicturesAwaited(pass.now))
        return pass.until;
    const auto known = std::span(lastBreaks).first(std::min(breaksKnown, lastBreaks.size()));
    return *pictureAt + (known.empty() ? 0 : *std::ranges::min_element(known) / 2);
}

bool Delivery::AwaitsFrameBefore(int64_t time, int64_t now) const
{
    return std::ranges::any_of(channels.video, [&](const auto& video) {
        if (!video->IsUsedIn(GrabMode::Record))
            return false;
        const auto queued = queue.Look(video->number);
        return (queued.waiting > 0 && queued.captureTime < time) || video->AwaitsFrameBefore(time, now);
    });
}

void Delivery::Restart()
{
    pictureAt.reset();
    soundAt.reset();
    breaksKnown = 0;
    for (const auto& sound : channels.sound)
        sound->Stream().Restart();
}

void Delivery::NoteFrame(int64_t captureTime)
{
    if (pictureAt && captureTime > *pictureAt)
        lastBreaks[breaksKnown++ % lastBreaks.size()] = captureTime - *pictureAt;
    pictureAt = captureTime;
}

Result Delivery::HandOverFrame(VideoChannel& channel, bool shown)
{
    auto frame = queue.Take(channel.number);
    if (!frame)
        return noErr;
    // A driver that falls behind may give several frames the same time; in a movie each needs a duration.
    frame->captureTime = std::max(frame->captureTime, channel.newest.captureTime + kMinFrameDuration);
    NoteFrame(frame->captureTime);
    channel.description = frame->description;
    channel.CountDelivered();
    if (!shown)
        channel.CountNotShown();
    const int32_t time = TimeOf(frame->captureTime, channel.TimeScale());
    return sink.TakeFrame(channel, std::move(*frame), time, shown);
}

Result Delivery::HandOverSound(SoundChannel& channel, const SoundStream::Piece& piece)
{
    ++soundHandedOver;
    soundAt = channel.Stream().Position();
    channel.description = piece.description;
    channel.CountDelivered();
    return sink.TakeSound(channel, piece, TimeOf(piece.captureTime, piece.description->SoundTimeScale()));
}

// Rounded, and counted from the origin each time, so that rounding errors do not add up and an even rate stays even.
// The count wraps after 2^32 units; differences between two times stay right across that.
int32_t Delivery::TimeOf(int64_t captureTime, int32_t scale)
{
    if (!origin)
        origin = captureTime;
    const int64_t sinceOrigin = std::max<int64_t>(0, captureTime - *origin);
    const int64_t seconds = sinceOrigin / kNanosecondsPerSecond;
    const int64_t rest = sinceOrigin % kNanosecondsPerSecond;
    const int64_t units = (rest * scale + kNanosecondsPerSecond / 2) / kNanosecondsPerSecond;
    return static_cast<int32_t>(static_cast<uint32_t>(seconds * scale + units));
}

} // namespace platform
