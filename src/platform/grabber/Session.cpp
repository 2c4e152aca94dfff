// A session.
//
// It is stopped, previewing or recording, and in the last two it may be paused; devices run exactly while a mode needs
// them, pauses included. "Recording" is what publishes samples: to the data procedure, to a movie of the grabber's own
// when an output is set, to both, or to nobody. The session owns its channels, the queue between their threads and the
// main thread, the movie being written and the device lists that were asked for.
//
// The count of time begins with the first sample of the session's life and runs on over pauses and stops: the first
// frame after a gap comes with a time that holds the gap, and sound is filled up with silence to match.
//
// A data procedure may do anything, also stop or close the session that calls it. So whoever calls Idle keeps the
// session alive, and after each handing over everything is looked at afresh.
#include "platform/grabber/Session.h"

#include "platform/grabber/DeviceLists.h"
#include "platform/clock/MonotonicClock.h"

#include <algorithm>

namespace platform {
namespace {

// Two seconds of a main thread that shows a dialog, at sixty frames a second; sound comes in buffers of some
// milliseconds.
constexpr size_t kMostFrames = 128;
constexpr size_t kMostSoundBuffers = 4096;
constexpr int64_t kRetryInterval = kNanosecondsPerSecond;

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

Session::~Session()
{
    Stop();
    while (!channels.empty())
        RemoveChannel(*channels.back());
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
        for (const auto& channel : channels) {
            channel->Accept(false);
            channel->ResetCounts();
        }
        queue.Clear();
        for (const auto& sound : soundChannels)
            sound->Stream().Interrupt();
    }
    mode = wanted;
    const Result run = RunChannels();
    return result != noErr ? result : run;
}

Result Session::RunChannels()
{
    // Accepted first, so that a device that delivers at once loses nothing.
    ChooseWhatIsAccepted();
    Result first = noErr;
    for (const auto& channel : channels) {
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
    for (const auto& channel : channels)
        channel->Accept(!paused && channel->IsUsedIn(mode) && (kept || channel->type == kVideoMediaType));
}

Result Session::Stop()
{
    if (mode == GrabMode::Stopped)
        return noErr;
    HaltChannels();
    Result result = noErr;
    if (recording) {
        paused = false;
        for (const auto& channel : channels)
            channel->FinishArrived();
        Deliver(MonotonicNow(), true);
        result = FinishRecording();
    }
    for (const auto& channel : channels)
        channel->DiscardArrived();
    queue.Clear();
    for (const auto& sound : soundChannels)
        sound->Stream().Interrupt();
    mode = GrabMode::Stopped;
    paused = false;
    return result;
}

void Session::HaltChannels()
{
    for (const auto& channel : channels)
        channel->Halt();
}

void Session::Pause(bool pause)
{
    paused = pause && mode != GrabMode::Stopped;
    ChooseWhatIsAccepted();
}

Result Session::Prepare(bool forPreview, bool forRecord) const
{
    for (const auto& channel : channels) {
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
    // A procedure that waits for the user lets timers run, and they come here again.
    if (idling || mode == GrabMode::Stopped)
        return noErr;
    idling = true;
    // A data procedure may throw; the next call goes on all the same.
    const struct EndOfIdling {
        bool& idling;
        ~EndOfIdling() { idling = false; }
    } end{idling};
    const int64_t now = MonotonicNow();
    RetryAbsentDevices(now);
    if (!paused)
        std::ranges::for_each(soundChannels, &SoundChannel::ReplaceStandIn);
    Result result = noErr;
    if (!paused && mode == GrabMode::Preview)
        DrawNewestFrames();
    else if (!paused)
        result = Deliver(now, false);
    if (result != noErr) {
        Stop();
        return result;
    }
    return TakeFailure();
}

// A device that comes back delivers by itself once it could be started; one that couldn't be, because somebody else
// held it, is tried again.
void Session::RetryAbsentDevices(int64_t now)
{
    if (now - lastRetry < kRetryInterval)
        return;
    lastRetry = now;
    for (const auto& channel : channels)
        if (channel->IsUsedIn(mode) && !channel->Running() && channel->Run() == noErr)
            ChooseWhatIsAccepted();
}

Result Session::TakeFailure()
{
    Result result = std::exchange(recordingFailure, noErr);
    for (const auto& channel : channels)
        if (result == noErr)
            result = channel->TakeFailure();
    return result;
}

// Trials of settings.

void Session::BeginTrial(Channel& channel)
{
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

// The device is halted between the trial and what comes after it, so that nothing of one gets into the other.
void Session::EndTrial(Channel& channel)
{
    channel.Halt();
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

Result Session::BeginRecording()
{
    DirectRecording::Plan plan{
        .path = outputPath, .append = (outputFlags & seqGrabAppendToFile) != 0, .withPictures = false};
    for (const auto& video : videoChannels) {
        if (!video->IsUsedIn(GrabMode::Record))
            continue;
        plan.withPictures = true;
        plan.width = video->SourceRect().Width();
        plan.height = video->SourceRect().Height();
    }
    for (const auto& sound : soundChannels)
        if (sound->IsUsedIn(GrabMode::Record))
            plan.soundScale = sound->TimeScale();
    // Whatever gap lies before it, the movie begins with its own first frame.
    if (mode != GrabMode::Record || paused)
        BeginTimelineAnew();
    Result result = noErr;
    recording = DirectRecording::Begin(plan, result);
    for (const auto& sound : soundChannels)
        sound->rateIsFixed = recording != nullptr;
    return result;
}

void Session::BeginTimelineAnew()
{
    pictureAt.reset();
    soundAt.reset();
    breaksKnown = 0;
    for (const auto& sound : soundChannels)
        sound->Stream().BeginAnew();
}

// One output is one movie: a later start must not write over what has just been recorded.
Result Session::FinishRecording()
{
    const Result result = recording->Finish();
    recording.reset();
    recordingFailure = noErr;
    outputPath.clear();
    for (const auto& sound : soundChannels)
        sound->rateIsFixed = false;
    return result;
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
    if (auto video = std::dynamic_pointer_cast<VideoChannel>(channel))
        videoChannels.push_back(std::move(video));
    if (auto sound = std::dynamic_pointer_cast<SoundChannel>(channel))
        soundChannels.push_back(std::move(sound));
    channels.push_back(std::move(channel));
}

void Session::RemoveChannel(Channel& channel)
{
    channel.Halt();
    channel.DiscardArrived();
    queue.CloseLane(channel.number);
    UnregisterChannel(channel.number);
    const auto isIt = [&](const auto& own) { return own.get() == &channel; };
    std::erase_if(videoChannels, isIt);
    std::erase_if(soundChannels, isIt);
    std::erase_if(channels, isIt);
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
    return std::ranges::any_of(channels, [&](const auto& own) { return own->number == channel; });
}

} // namespace platform
