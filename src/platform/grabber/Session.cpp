// SPDX-License-Identifier: MIT
// A session.
//
// It is stopped, previewing or recording, and in the last two it may be paused. "Recording" is what publishes samples:
// to the data procedure, to a movie of the grabber's own when an output is set, to both, or to nobody. The session owns
// its channels, the queue between their threads and the main thread, the movie being written and the device lists that
// were asked for.
//
// Devices run while a mode needs them, pauses included, and for a moment after a stop: a camera takes half a second to
// start and blinks, and callers stop a session to change something and start it again at once.
//
// The count of time begins with the first sample of the session's life and runs on over pauses and stops: the first
// frame after a gap comes with a time that holds the gap, and sound is filled up with silence to match.
//
// Callers ask by a timer. What becomes ready between two of its ticks hastens it.
//
// A data procedure may do anything, also stop or close the session that calls it. So the caller of Idle keeps the
// session alive, and after each handing over everything is looked at again.
//
// While a movie is written, input reaches the windows only behind what was captured before it: a press on Stop ends a
// movie that holds every frame captured until then, whatever waited in the queue, for the sound or for a compressor.
#include "platform/grabber/Session.h"

#include "platform/clock/MonotonicClock.h"
#include "platform/compression/DecompressionSequence.h"
#include "platform/digitizer/FrameTrace.h"
#include "platform/grabber/DeviceLists.h"
#include "platform/memory/CodeAddress.h"
#include "platform/movies/CaptureInHand.h"

#include <algorithm>
#include <chrono>

namespace platform {
namespace {

// Two seconds of a main thread that is held up, at sixty frames a second, and as many again on the way; the queue's
// limit in bytes has room for these two seconds at 1.7 MB a frame and thirty frames a second. Sound comes in buffers of
// some milliseconds.
constexpr size_t kMostFrames = 256;
constexpr size_t kMostSoundBuffers = 4096;
constexpr int64_t kRetryInterval = kNanosecondsPerSecond;
constexpr int64_t kRestingTime = kNanosecondsPerSecond / 2;
// How long input waits at most for what was captured before it.
constexpr auto kLongestInputDelay = std::chrono::milliseconds(300);
constexpr int kWaitMilliseconds = 5;

using DataProcedure = std::remove_pointer_t<SGDataProc>;

// Keeps a flag raised for the time of a call, whether that returns or throws.
class Raised {
public:
    explicit Raised(bool& flag) : flag(flag) { flag = true; }
    ~Raised() { flag = false; }
    Raised(const Raised&) = delete;
    Raised& operator=(const Raised&) = delete;

private:
    bool& flag;
};

bool IsListed(const Channel& channel)
{
    const auto devices = channel.Devices();
    return std::ranges::find(devices, channel.Device().identity, &ListedDevice::identity) != devices.end();
}

} // namespace

std::shared_ptr<Session> FindSession(ComponentInstance number)
{
    auto session = FindInstance<Session>(number);
    if (session)
        session->number = number;
    return session;
}

Session::Session()
{
    queue.OnReady([this] { HastenEventLoopTimer(poller); });
}

Session::~Session()
{
    Stop();
    while (!channels.all.empty())
        RemoveChannel(*channels.all.back());
    for (const Handle list : deviceLists)
        FreeDeviceList(list);
}

Result Session::Initialize()
{
    if (initialized)
        return cantDoThatInCurrentMode;
    initialized = true;
    return noErr;
}

Result Session::SetOutput(const std::string& path, int32_t flags)
{
    if (recording)
        return cantDoThatInCurrentMode;
    if (path.empty() && (flags & seqGrabDontMakeMovie) == 0)
        return paramErr;
    outputPath = (flags & seqGrabDontMakeMovie) != 0 ? std::string() : path;
    outputFlags = flags;
    return noErr;
}

void Session::SetDataProcedure(int32_t callback, int32_t callbackRefCon)
{
    procedure = callback;
    refCon = callbackRefCon;
    ChooseWhatIsAccepted();
}

// Modes.

Result Session::Start(GrabMode wanted)
{
    Result result = noErr;
    if (wanted == GrabMode::Preview && recording)
        result = Stop();
    if (wanted == GrabMode::Record && !outputPath.empty() && !recording)
        if (const Result begun = BeginRecording(); begun != noErr)
            return begun;
    paused = false;
    if (mode != wanted) {
        for (const auto& channel : channels.all) {
            channel->Accept(false);
            channel->ResetCounts();
        }
        queue.Clear();
        for (const auto& sound : channels.sound)
            sound->Stream().Interrupt();
    }
    restingSince.reset();
    mode = wanted;
    const Result run = RunChannels();
    return result != noErr ? result : run;
}

Result Session::RunChannels()
{
    // Accepted first, so that a device that delivers at once loses nothing.
    ChooseWhatIsAccepted();
    Result first = noErr;
    for (const auto& channel : channels.all) {
        if (!channel->IsUsedIn(mode)) {
            channel->Halt();
            continue;
        }
        if (const Result result = channel->Run(); first == noErr)
            first = result;
    }
    lastRetry = MonotonicNow();
    return first;
}

void Session::ChooseWhatIsAccepted()
{
    // Sound is only of use where it is handed on; a frame may still be drawn, or grabbed as a picture.
    const bool kept = mode == GrabMode::Record && (procedure != 0 || recording);
    for (const auto& channel : channels.all)
        channel->Accept(!paused && channel->IsUsedIn(mode) && (kept || channel->type == kVideoMediaType));
}

Result Session::Stop()
{
    if (mode == GrabMode::Stopped)
        return noErr;
    HandOverCaptured();
    for (const auto& channel : channels.all)
        channel->Rest();
    restingSince = MonotonicNow();
    Result result = noErr;
    if (recording) {
        paused = false;
        for (const auto& channel : channels.all)
            channel->FinishArrived();
        const Raised last(finishing);
        delivery.Run({.now = Delivery::kForever, .shows = false, .waitsForSound = false});
        result = FinishRecording();
    }
    DiscardArrived();
    mode = GrabMode::Stopped;
    paused = false;
    return result;
}

void Session::DiscardArrived()
{
    for (const auto& channel : channels.all)
        channel->DiscardArrived();
    queue.Clear();
    for (const auto& sound : channels.sound)
        sound->Stream().Interrupt();
}

Result Session::Release()
{
    const Result result = Stop();
    restingSince.reset();
    HaltChannels();
    return result;
}

void Session::ReleaseRestingDevices(int64_t now)
{
    if (!restingSince || trying || now - *restingSince < kRestingTime)
        return;
    restingSince.reset();
    for (const auto& channel : channels.all)
        if (channel->Resting())
            channel->Halt();
}

void Session::HaltChannels()
{
    for (const auto& channel : channels.all)
        channel->Halt();
}

void Session::Pause(bool pause)
{
    paused = pause && mode != GrabMode::Stopped;
    ChooseWhatIsAccepted();
}

Result Session::Prepare(bool forPreview, bool forRecord) const
{
    for (const auto& channel : channels.all) {
        if (!(forPreview && channel->IsUsedIn(GrabMode::Preview)) &&
            !(forRecord && channel->IsUsedIn(GrabMode::Record)))
            continue;
        if (channel->Running() ? channel->DeviceIsGone() : !IsListed(*channel))
            return noDeviceForChannel;
    }
    return noErr;
}

Result Session::Idle()
{
    const int64_t now = MonotonicNow();
    poller = CurrentEventLoopTimer();
    if (mode == GrabMode::Stopped)
        ReleaseRestingDevices(now);
    // A procedure that waits for the user lets timers run, and they come here again.
    if (idling || mode == GrabMode::Stopped)
        return noErr;
    // A data procedure may throw; the next call goes on all the same.
    const Raised inside(idling);
    RetryAbsentDevices(now);
    if (!paused)
        std::ranges::for_each(channels.sound, [](const auto& sound) { sound->ReplaceStandIn(); });
    Result result = std::exchange(inputFailure, noErr);
    if (!paused && mode == GrabMode::Preview)
        DrawNewestFrames();
    else if (!paused && result == noErr)
        result = delivery.Run({.now = now});
    if (result != noErr) {
        Stop();
        return result;
    }
    return TakeFailure();
}

bool Session::IsWritingMovie() const
{
    return recording ||
           std::ranges::any_of(channels.all, [](const auto& channel) { return IsMediaOpen(channel->feeds); });
}

bool Channel::FormatIsFixed() const
{
    return owner != nullptr && owner->IsWritingMovie();
}

// What has been captured up to now goes into the movie, also what is still on its way from a device or a compressor.
void Session::HandOverCaptured()
{
    if (idling || mode != GrabMode::Record || paused || !IsWritingMovie())
        return;
    const Raised inside(idling);
    const int64_t press = MonotonicNow();
    const auto deadline = std::chrono::steady_clock::now() + kLongestInputDelay; // also where a test holds the clock
    Result result = delivery.Run({.now = press, .shows = false});
    while (result == noErr && delivery.AwaitsFrameBefore(press, MonotonicNow()) &&
           std::chrono::steady_clock::now() < deadline) {
        queue.WaitForSample(kWaitMilliseconds);
        result = delivery.Run({.now = MonotonicNow(), .shows = false});
    }
    if (result == noErr)
        result = delivery.Run({.now = MonotonicNow(), .shows = false, .waitsForSound = false, .until = press});
    inputFailure = result;
}

// A device that comes back delivers by itself once it could be started; one that couldn't be, because somebody else
// held it, is tried again.
void Session::RetryAbsentDevices(int64_t now)
{
    if (now - lastRetry < kRetryInterval)
        return;
    lastRetry = now;
    for (const auto& channel : channels.all)
        if (channel->IsUsedIn(mode) && !channel->Running() && channel->Run() == noErr)
            ChooseWhatIsAccepted();
}

Result Session::TakeFailure()
{
    Result result = std::exchange(recordingFailure, noErr);
    for (const auto& channel : channels.all)
        if (result == noErr)
            result = channel->TakeFailure();
    return result;
}

// Trials of settings.

void Session::BeginTrial(Channel& channel)
{
    trying = true;
    heldForTrial = mode != GrabMode::Stopped && !paused;
    Pause(true);
    channel.FinishArrived();
    while (auto waiting = queue.Take(channel.number))
        setAside.push_back(std::move(*waiting));
    RunTried(channel);
}

void Session::RunTried(Channel& channel)
{
    if (!Owns(channel.number))
        return;
    channel.Accept(true);
    channel.Run();
}

// What the device still sent for the trial goes, so that nothing of it gets into what comes after.
void Session::EndTrial(Channel& channel)
{
    trying = false;
    channel.Rest();
    restingSince = MonotonicNow();
    channel.DiscardArrived();
    while (queue.Take(channel.number)) {
    }
    for (Sample& sample : std::exchange(setAside, {}))
        queue.Put(channel.number, std::move(sample));
    if (Owns(channel.number) && channel.IsUsedIn(mode))
        channel.Run();
    if (std::exchange(heldForTrial, false))
        Pause(false);
    else
        ChooseWhatIsAccepted();
}

// The grabber's own movie.

DirectRecording::Plan Session::PlanFor(const std::string& path) const
{
    DirectRecording::Plan plan{.path = path, .append = (outputFlags & seqGrabAppendToFile) != 0, .withPictures = false};
    for (const auto& video : channels.video) {
        if (!video->IsUsedIn(GrabMode::Record))
            continue;
        plan.withPictures = true;
        plan.width = video->SourceRect().Width();
        plan.height = video->SourceRect().Height();
        plan.videoScale = video->TimeScale();
    }
    for (const auto& sound : channels.sound)
        if (sound->IsUsedIn(GrabMode::Record))
            plan.soundScale = sound->TimeScale();
    return plan;
}

Result Session::BeginRecording()
{
    // Whatever gap lies before it, the movie begins with its own first frame.
    if (mode != GrabMode::Record || paused)
        delivery.BeginAnew();
    SetSplits(splitRule, splitHandler);
    Result result = noErr;
    recording = DirectRecording::Begin(PlanFor(outputPath), result);
    return result;
}

void Session::SetSplits(const SGSplitRule& rule, SGSplitHandler handler)
{
    splitRule = rule;
    splitHandler = std::move(handler);
    recordingEnded = false;
    splits.Begin(rule);
}

// The frame is the first one of the next file, or the first one past the end. All sound up to its time has been handed
// over before it, so each sample is in one file as well.
void Session::SplitBefore(const Sample& frame)
{
    if (!splitHandler || recordingEnded)
        return;
    const auto step = splits.Before(frame);
    if (step == RecordingSplits::Step::GoOn)
        return;
    recordingEnded = step == RecordingSplits::Step::End;
    if (recording && recordingEnded)
        NoteRecordingFailure(recording->EndFrameAt(frame.captureTime));
    const auto handler = splitHandler; // may be replaced by what it calls
    const std::string path = handler(recordingEnded);
    if (recording && !recordingEnded && !path.empty())
        RecordInFile(path, frame.captureTime);
}

// The next file is opened before the present one is closed: without it the recording goes on where it is.
void Session::RecordInFile(const std::string& path, int64_t captureTime)
{
    DirectRecording::Plan plan = PlanFor(path);
    plan.continues = true;
    Result result = noErr;
    auto next = DirectRecording::Begin(plan, result);
    NoteRecordingFailure(result);
    if (!next)
        return;
    NoteRecordingFailure(recording->EndFrameAt(captureTime));
    std::swap(recording, next);
    NoteRecordingFailure(next->Finish());
}

void Session::NoteRecordingFailure(Result result)
{
    if (result != noErr)
        recordingFailure = result;
}

// One output is one movie: a later start must not write over what has just been recorded.
Result Session::FinishRecording()
{
    const Result result = recording->Finish();
    recording.reset();
    recordingFailure = noErr;
    outputPath.clear();
    return result;
}

// Samples.

Result Session::TakeFrame(VideoChannel& channel, Sample frame, int32_t time, bool shown)
{
    SplitBefore(frame);
    if (recording && !recordingEnded)
        NoteRecordingFailure(recording->AddFrame(frame));
    bool inTime = shown;
    auto picture = channel.TakePicture(frame, inTime);
    if (shown && !inTime)
        channel.CountNotShown();
    FrameInHand known(frame.data.Start(), frame.description->image, inTime, std::move(picture));
    if (frame.sentDescription)
        known.ShowInstead(frame.sent.Bytes(), frame.sentDescription->image);
    const CaptureInHand captured(kVideoMediaType, frame.captureTime);
    const Result result = CallProcedure(channel, frame.data.Start(), frame.data.Size(), time);
    channel.feeds = captured.AddedTo();
    if (shown && (channel.usage & seqGrabPlayDuringRecord) != 0)
        channel.DrawPreview(frame, port);
    if (inTime)
        channel.NoteShown(known.Shown());
    const bool isDrawn = known.Shown().width > 0;
    TraceHandOver(frame.stampedTime, !inTime ? HandOver::Skipped : isDrawn ? HandOver::Shown : HandOver::NotDrawn);
    channel.newest = std::move(frame);
    return result;
}

Result Session::TakeSound(SoundChannel& channel, const SoundStream::Piece& piece, int32_t time)
{
    splits.CountSound(piece.bytes);
    if (recording && !recordingEnded)
        NoteRecordingFailure(recording->AddSound(piece));
    const CaptureInHand captured(kSoundMediaType, piece.captureTime);
    const Result result = CallProcedure(channel, piece.data, piece.bytes, time);
    channel.feeds = captured.AddedTo();
    return result;
}

Result Session::CallProcedure(const Channel& channel, Address data, int64_t bytes, int32_t time)
{
    auto* const code = CodeAt<DataProcedure>(procedure);
    if (!code || finishing)
        return noErr;
    return code(channel.number, data, static_cast<int32_t>(bytes), offsetCell.Get(), 0, time, seqGrabWriteAppend,
                refCon);
}

// A preview shows the newest frame; older ones are skipped.
void Session::DrawNewestFrames()
{
    for (const auto& video : channels.video) {
        std::optional<Sample> newest;
        while (auto frame = queue.Take(video->number)) {
            if (newest)
                video->CountNotShown();
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

// Channels.

std::shared_ptr<Channel> Session::NewChannel(FourCharCode type)
{
    std::shared_ptr<Channel> channel;
    if (type == kVideoMediaType)
        channel = std::make_shared<VideoChannel>(queue, OpenDigitizer());
    else if (type == kSoundMediaType)
        channel = SoundChannel::OnBestSource(queue);
    else
        return nullptr;
    AddChannel(channel);
    return channel;
}

void Session::AddChannel(std::shared_ptr<Channel> channel)
{
    RegisterChannel(channel);
    channel->owner = this;
    channel->OpenLane(channel->type == kVideoMediaType ? kMostFrames : kMostSoundBuffers);
    channels.Add(std::move(channel));
}

// Takes a channel out of the session; its device goes on as it is.
void Session::DetachChannel(Channel& channel)
{
    channel.Accept(false);
    channel.DiscardArrived();
    queue.CloseLane(channel.number);
    UnregisterChannel(channel.number);
    channel.owner = nullptr;
    channels.Remove(channel);
}

void Session::RemoveChannel(Channel& channel)
{
    channel.Halt();
    DetachChannel(channel);
}

Result Session::DisposeChannel(SGChannel channel)
{
    if (!Owns(channel))
        return badSGChannel;
    const auto kept = FindChannel(channel);
    RemoveChannel(*kept);
    return noErr;
}

bool Session::Owns(SGChannel channel) const
{
    return std::ranges::any_of(channels.all, [&](const auto& own) { return own->number == channel; });
}

} // namespace platform
