// SPDX-License-Identifier: MIT
// A session.
//
// It is stopped, previewing or recording, and in the last two modes it may be paused. In record mode samples are passed
// to the data procedure, to a movie of the grabber's own if an output is set, to both, or to neither. The session owns
// its channels, the queue between their threads and the main thread, the movie being written and the device lists that
// callers requested.
//
// Devices run while a mode needs them, pauses included, and for a moment after a stop: a camera takes half a second to
// start and blinks, and callers stop a session to change something and start it again at once.
//
// Time is counted from the first sample of the session on, across pauses and stops: the time of the first frame after a
// gap includes the gap, and the sound is filled with silence to match.
//
// Callers call Idle from a timer. When something becomes ready between two ticks, the timer is triggered early.
//
// A data procedure may do anything, including stopping or closing the session that calls it. So the caller of Idle
// keeps the session alive, and all state is checked again after each delivery.
//
// While a movie is written, user input reaches the windows only after everything that was captured before it: a press
// on Stop ends a movie that contains every frame captured until then, even those that were waiting in the queue, for
// the sound or for a compressor.
#include "platform/grabber/Session.h"

#include "platform/clock/MonotonicClock.h"
#include "platform/grabber/DeviceLists.h"

#include <algorithm>
#include <chrono>

namespace platform {
namespace {

// Enough for a main thread that is delayed by two seconds at sixty frames per second, and as many again on the way; the
// queue's limit in bytes allows these two seconds at 1.7 MB per frame and thirty frames per second. Sound buffers have
// some milliseconds each.
constexpr size_t kMaxFrames = 256;
constexpr size_t kMaxSoundBuffers = 4096;
// How long input waits at most for what was captured before it.
constexpr auto kMaxInputDelay = std::chrono::milliseconds(300);
constexpr int kWaitMilliseconds = 5;

// Sets a flag for the duration of a call, whether that returns or throws.
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

void Session::SetDataProcedure(int32_t callback, int32_t refCon)
{
    handOver.procedure.Set(callback, refCon);
    UpdateAcceptedChannels();
}

// Modes.

Result Session::Start(GrabMode wanted)
{
    ReleaseSoundRates();
    Result result = noErr;
    if (wanted == GrabMode::Preview && movie.IsOpen())
        result = Stop();
    if (wanted == GrabMode::Record && movie.HasOutput())
        if (const Result begun = BeginMovie(); begun != noErr)
            return begun;
    paused = false;
    if (mode != wanted) {
        for (const auto& channel : channels.all) {
            channel->Accept(false);
            channel->ResetCounts();
        }
        queue.Clear(true);
        for (const auto& sound : channels.sound)
            sound->Stream().Interrupt();
    }
    mode = wanted;
    const Result run = RunDevices();
    return result != noErr ? result : run;
}

// Whatever gap precedes it, the movie starts with its own first frame.
Result Session::BeginMovie()
{
    if (mode != GrabMode::Record || paused)
        delivery.Restart();
    return movie.Begin();
}

// Channels accept samples first, so that nothing is lost from a device that delivers at once.
Result Session::RunDevices()
{
    UpdateAcceptedChannels();
    return devices.Run(mode);
}

void Session::UpdateAcceptedChannels()
{
    // Sound is only needed where it is passed on; a frame may still be drawn, or grabbed as a picture.
    const bool kept = mode == GrabMode::Record && handOver.WantsSound();
    for (const auto& channel : channels.all)
        channel->Accept(!paused && channel->IsUsedIn(mode) && (kept || channel->type == kVideoMediaType));
}

Result Session::Stop()
{
    if (mode == GrabMode::Stopped)
        return noErr;
    HandOverCaptured();
    devices.Rest();
    const Result result = movie.IsOpen() ? FinishMovie() : noErr;
    DiscardArrived();
    mode = GrabMode::Stopped;
    paused = false;
    return result;
}

Result Session::FinishMovie()
{
    paused = false;
    for (const auto& channel : channels.all)
        channel->FinishArrived();
    const Raised last(handOver.intoMovieOnly);
    delivery.Run({.now = Delivery::kForever, .shows = false, .waitsForSound = false});
    return movie.Finish();
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
    devices.Halt();
    return result;
}

void Session::Pause(bool pause)
{
    paused = pause && mode != GrabMode::Stopped;
    UpdateAcceptedChannels();
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
    ReleaseSoundRates();
    if (mode == GrabMode::Stopped && !trying)
        devices.ReleaseRested(now);
    // A procedure that waits for the user runs timers, which call this function again.
    if (idling || mode == GrabMode::Stopped)
        return noErr;
    // A data procedure may throw; the next call continues.
    const Raised inside(idling);
    if (devices.RetryAbsent(mode, now))
        UpdateAcceptedChannels();
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
    return movie.IsOpen() ||
           std::ranges::any_of(channels.all, [](const auto& channel) { return IsMediaOpen(channel->feeds); });
}

bool Channel::FormatIsFixed() const
{
    return owner != nullptr && owner->IsWritingMovie();
}

void Session::ReleaseSoundRates()
{
    for (const auto& sound : channels.sound)
        sound->ReleaseRate();
}

// Everything captured up to now goes into the movie, including what is still on its way from a device or compressor.
void Session::HandOverCaptured()
{
    if (idling || mode != GrabMode::Record || paused || !IsWritingMovie())
        return;
    const Raised inside(idling);
    const int64_t press = MonotonicNow();
    const auto deadline =
        std::chrono::steady_clock::now() + kMaxInputDelay; // real time, since a test may stop the clock
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

Result Session::TakeFailure()
{
    Result result = movie.TakeFailure();
    for (const auto& channel : channels.all)
        if (result == noErr)
            result = channel->TakeFailure();
    return result;
}

// Trials of settings.

bool Session::BeginTrial()
{
    trying = true;
    const bool pauses = mode != GrabMode::Stopped && !paused;
    Pause(true);
    return pauses;
}

void Session::RunTried(Channel& channel)
{
    if (!Owns(channel.number))
        return;
    channel.Accept(true);
    channel.Run();
}

void Session::EndTrial(Channel& channel, bool wasPaused)
{
    trying = false;
    devices.Rest(channel);
    if (Owns(channel.number) && channel.IsUsedIn(mode))
        channel.Run();
    if (wasPaused)
        Pause(false);
    else
        UpdateAcceptedChannels();
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
        video->DrawPreview(*newest, handOver.port);
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
    channel->OpenTrackQueue(channel->type == kVideoMediaType ? kMaxFrames : kMaxSoundBuffers);
    channels.Add(std::move(channel));
}

// Removes a channel from the session; its device keeps its state.
void Session::DetachChannel(Channel& channel)
{
    channel.Accept(false);
    channel.DiscardArrived();
    queue.CloseTrackQueue(channel.number);
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

Result Session::DisposeDeviceList(Handle list)
{
    if (std::erase(deviceLists, list) == 0)
        return paramErr;
    FreeDeviceList(list);
    return noErr;
}

} // namespace platform
