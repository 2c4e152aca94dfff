// The order in which samples are handed over.
//
// Frames and sound are handed over in the order of their capture times: the sound up to a frame's time, cut there to
// the sample, then the frame, then the sound behind it. Sound comes in pieces of at most ten milliseconds.
//
// Why this order lines sound up with pictures for whoever writes them to a file. A writer that follows the published
// way of working gives each frame the distance from the frame before it as its duration, and counts sound samples. Let
// frames be captured at t(0), t(1), ... and let a recording begin with frame k. Frame j is then shown from
// t(j-1) - t(k-1) on. A moment T between t(j-1) and t(j) is seen in frame j, and heard at T - s, when the sound of the
// file begins with the sample of time s. So sound is behind the picture by
//
//     (T - t(j-1)) - (s - t(k-1))
//
// The first part lies between 0 and one frame, whatever we do. The second must do so as well:
//
//  - A recording can only begin between two calls of Idle. What has been handed over by then ends with some frame k-1
//    and sound up to a moment S, not before t(k-1) and not after t(k). In a second or third recording the first piece
//    of sound is written whole, and s = S.
//  - In the first recording the writer looks at its first piece of sound: it keeps as many of the piece's last samples
//    as frames have been written by then. A piece that comes before frame k is dropped, for no frame is written yet;
//    one that comes after it is shorter than the frame's duration and can't be written. Either way one piece goes, and
//    s is at most S + 10 ms. This is why pieces are short.
//  - S would mostly stay at t(k-1), because sound reaches us sooner than a frame does, and sound would be behind by up
//    to a frame. So sound goes out ahead of the next frame, but only by half of the shortest recent distance between
//    two frames: it doesn't overtake the frame, and the difference is mostly between half a frame behind and half a
//    frame ahead.
//  - A recording that begins before the very first frame finds no distance for it and gives it a sixth of a second.
//    The first frame is therefore handed over ahead of all sound, and behind it a lead-in of silence that ends at its
//    time and is longer than that sixth. The writer keeps the end of it, and both begin together.
//
// All this holds only if the sound has no holes, and if it keeps up with the pictures. A frame therefore waits until
// the sound has reached it, as long as the source is known to deliver; when it isn't, silence stands in for it, and
// what the source may deliver too late is left out. Sound waits for frames likewise, and flows freely when none come.
#include "platform/grabber/Session.h"

#include "platform/clock/MonotonicClock.h"
#include "platform/compression/DecompressionSequence.h"
#include "platform/digitizer/FrameTrace.h"
#include "platform/memory/CodeAddress.h"

#include <algorithm>

namespace platform {
namespace {

constexpr int64_t kForever = INT64_MAX / 4;
constexpr int64_t kLeadIn = 200 * kNanosecondsPerMillisecond;
constexpr int64_t kLongSilence = kNanosecondsPerSecond;
// How long the sound of a started session waits for the first frame.
constexpr int64_t kPatienceForFirstFrame = kNanosecondsPerSecond;
// A frame that has waited so long goes on, whatever the sound does.
constexpr int64_t kLongestWait = kNanosecondsPerSecond;
// Sound that comes in bursts holds frames up and lets them go together. So few of them go out one at a call, and each
// is seen; of more than these, the main thread is behind and takes all it can.
constexpr size_t kFewFrames = 3;
// A frame waits so long for its picture; then it goes on and a later frame brings the picture.
constexpr int64_t kPictureWait = 25 * kNanosecondsPerMillisecond;
// One unit of the time scale of pictures, rounded up.
constexpr int64_t kShortestFrame = kNanosecondsPerSecond / 600 + 1;

using DataProcedure = std::remove_pointer_t<SGDataProc>;

} // namespace

Result Session::Deliver(int64_t now, bool ending)
{
    soundHandedOver = 0;
    framesHandedOver = 0;
    Result result = noErr;
    // The procedure may pause, stop or close the session.
    const auto goesOn = [&] { return mode == GrabMode::Record && !paused && (ending || IsOpen()); };
    while (result == noErr && goesOn() && DeliverNext(now, ending, result)) {
    }
    return result;
}

// Hands over what comes next. False when nothing may go out yet.
bool Session::DeliverNext(int64_t now, bool ending, Result& result)
{
    SampleQueue::Lane frame;
    const auto pictures = NextFrame(now, ending, frame);
    // The procedure may dispose of the channel that it is called for.
    for (auto sound : soundChannels) {
        if (!sound->IsUsedIn(mode) || (procedure == 0 && !recording))
            continue;
        const SoundStep step = DeliverSound(*sound, frame, now, ending, result);
        if (step != SoundStep::Reached)
            return step == SoundStep::HandedOver;
    }
    if (!pictures || (framesHandedOver > 0 && frame.waiting <= kFewFrames && !ending))
        return false;
    ++framesHandedOver;
    result = HandOverFrame(*pictures, ending);
    return true;
}

// The channel with the earliest frame among those that had come when this call of Idle began: a main thread that can't
// keep up still comes to the end of them.
std::shared_ptr<VideoChannel> Session::NextFrame(int64_t now, bool ending, SampleQueue::Lane& waiting) const
{
    std::shared_ptr<VideoChannel> next;
    for (const auto& video : videoChannels) {
        const auto lane = queue.Look(video->number);
        if (lane.waiting == 0 || (lane.arrivalTime > now && !ending))
            continue;
        if (lane.pictureIsComing && lane.waiting <= kFewFrames && now - lane.arrivalTime < kPictureWait && !ending)
            continue;
        if (!next || lane.captureTime < waiting.captureTime) {
            waiting = lane;
            next = video;
        }
    }
    return next;
}

Session::SoundStep Session::DeliverSound(SoundChannel& channel, const SampleQueue::Lane& frame, int64_t now,
                                         bool ending, Result& result)
{
    const bool frameWaits = frame.waiting > 0;
    SoundStream& stream = channel.Stream();
    if (!stream.HasBegun()) {
        if (!soundAt && !pictureAt && (frameWaits || PicturesAwaited(now)))
            return SoundStep::Reached;
        if (soundAt)
            stream.MoveTo(*soundAt);
        else if (pictureAt)
            stream.MoveTo(*pictureAt - kLeadIn);
    }
    if (!soundAt && pictureAt) {
        const auto leadIn = stream.Silence(*pictureAt, kLeadIn, channel.PresentDescription());
        if (leadIn) {
            result = HandOverSound(channel, *leadIn, ending);
            return SoundStep::HandedOver;
        }
    }
    const int64_t limit = frameWaits ? frame.captureTime : SoundLimit(now, ending);
    // The silence of a long gap may come in long pieces, but for the first one of a call: a recording that has just
    // begun may lose that.
    const bool longGap = frameWaits && limit - stream.Position() > kLongSilence;
    const int64_t longest = longGap && soundHandedOver > 0 ? kLongSilence : SoundStream::kLongestPiece;
    auto piece = stream.Next(limit, longest);
    if (!piece && frameWaits && !stream.Reaches(limit)) {
        const bool mayCome = channel.IsAwaitedAt(now, 0) && now - frame.arrivalTime < kLongestWait;
        if (mayCome && !ending)
            return SoundStep::MustWait;
        piece = stream.Silence(limit, longest, channel.PresentDescription());
    }
    if (!piece)
        return SoundStep::Reached;
    result = HandOverSound(channel, *piece, ending);
    return SoundStep::HandedOver;
}

bool Session::PicturesAwaited(int64_t now) const
{
    return std::ranges::any_of(channels, [&](const auto& channel) {
        return channel->type == kVideoMediaType && channel->IsUsedIn(mode) &&
               channel->IsAwaitedAt(now, kPatienceForFirstFrame);
    });
}

// How far sound may go while no frame waits.
int64_t Session::SoundLimit(int64_t now, bool ending) const
{
    if (ending || !pictureAt || !PicturesAwaited(now))
        return kForever;
    const auto known = std::span(lastBreaks).first(std::min(breaksKnown, lastBreaks.size()));
    return *pictureAt + (known.empty() ? 0 : *std::ranges::min_element(known) / 2);
}

void Session::NoteFrame(int64_t captureTime)
{
    if (pictureAt && captureTime > *pictureAt)
        lastBreaks[breaksKnown++ % lastBreaks.size()] = captureTime - *pictureAt;
    pictureAt = captureTime;
}

Result Session::HandOverFrame(VideoChannel& channel, bool ending)
{
    auto frame = queue.Take(channel.number);
    if (!frame)
        return noErr;
    channel.description = frame->description;
    bool shown = true;
    auto picture = channel.TakePicture(*frame, shown);
    TraceHandOver(frame->captureTime, shown);
    if (!shown)
        channel.CountNotShown();
    // A driver that falls behind may give several frames one time; in a movie each must last.
    frame->captureTime = std::max(frame->captureTime, channel.newest.captureTime + kShortestFrame);
    NoteFrame(frame->captureTime);
    if (recording)
        if (const Result failed = recording->AddFrame(*frame); failed != noErr)
            recordingFailure = failed;
    const FrameInHand known(frame->data.Start(), frame->description->image, shown, std::move(picture));
    const Result result = HandOver(channel, {frame->data.Start(), frame->data.Size(), frame->captureTime}, ending);
    const bool isNewest = queue.Look(channel.number).waiting == 0;
    if ((channel.usage & seqGrabPlayDuringRecord) != 0 && isNewest)
        channel.DrawPreview(*frame, port);
    if (shown)
        channel.NoteShown(known.ShownScale());
    channel.newest = std::move(*frame);
    return result;
}

Result Session::HandOverSound(SoundChannel& channel, const SoundStream::Piece& piece, bool ending)
{
    ++soundHandedOver;
    channel.description = piece.description;
    soundAt = channel.Stream().Position();
    if (recording)
        if (const Result failed = recording->AddSound(piece); failed != noErr)
            recordingFailure = failed;
    return HandOver(channel, {piece.data, piece.bytes, piece.captureTime}, ending);
}

Result Session::HandOver(Channel& channel, const Buffer& buffer, bool ending)
{
    if (!origin)
        origin = buffer.captureTime;
    channel.CountDelivered();
    auto* const code = CodeAt<DataProcedure>(procedure);
    if (!code || ending)
        return noErr;
    return code(channel.number, buffer.data, static_cast<int32_t>(buffer.bytes), offsetCell.Get(), 0,
                TimeOf(buffer.captureTime, channel.TimeScale()), seqGrabWriteAppend, refCon);
}

// Counted from the origin each time, so that no rounding adds up. The count wraps after 2^32 units; differences between
// two times stay right across that.
int32_t Session::TimeOf(int64_t captureTime, int32_t scale) const
{
    const int64_t sinceOrigin = std::max<int64_t>(0, captureTime - *origin);
    const int64_t seconds = sinceOrigin / kNanosecondsPerSecond;
    const int64_t rest = sinceOrigin % kNanosecondsPerSecond;
    return static_cast<int32_t>(static_cast<uint32_t>(seconds * scale + rest * scale / kNanosecondsPerSecond));
}

// A preview shows the newest frame; those before it have had their time.
void Session::DrawNewestFrames()
{
    for (const auto& video : videoChannels) {
        std::optional<Sample> newest;
        while (auto frame = queue.Take(video->number)) {
            newest = std::move(frame);
            video->CountDelivered();
        }
        if (!newest)
            continue;
        video->description = newest->description;
        video->DrawPreview(*newest, port);
        video->newest = std::move(*newest);
    }
}

} // namespace platform
