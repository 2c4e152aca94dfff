// SPDX-License-Identifier: MIT
#pragma once

#include "platform/components/Components.h"
#include "platform/events/EventLoop.h"
#include "platform/grabber/Delivery.h"
#include "platform/grabber/RunningDevices.h"
#include "platform/grabber/SampleHandOver.h"
#include "platform/grabber/SessionMovie.h"

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace platform {

/// One session of the Sequence Grabber: its channels and its mode.
class Session final : public ComponentObject {
public:
    Session();
    ~Session() override;
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// Its own number, known from the first call that names it.
    ComponentInstance number = 0;

    /// `cantDoThatInCurrentMode` for every call but the first.
    Result Initialize();

    /// Sets the port that previews are drawn into.
    void SetPort(PortReference target) { handOver.port = target; }

    /// Installs the data procedure, as `SGSetDataProc`.
    void SetDataProcedure(int32_t callback, int32_t refCon);

    /// The movie that the session writes itself.
    SessionMovie& Movie() { return movie; }

    /// Starts a mode, or continues it; ends a pause. The first failure of a device.
    Result Start(GrabMode wanted);

    /// Stops and completes the session's own movie, whose first failure is the result.
    Result Stop();

    /// Stops and releases the devices at once.
    Result Release();

    /// Pauses or continues. What devices deliver during a pause is dropped.
    void Pause(bool pause);

    /// `noDeviceForChannel` where a channel that the given modes use has no device.
    Result Prepare(bool forPreview, bool forRecord) const;

    /// Hands waiting samples over or draws the newest frame. A failure of the data procedure stops the session.
    Result Idle();

    /// The present mode, paused or not.
    GrabMode Mode() const { return mode; }

    /// Whether what is captured goes into a movie, the session's own or one that the data procedure writes. Its format
    /// must then stay as it is.
    bool IsWritingMovie() const;

    /// A new channel on the default device of its type; null for an unknown type.
    std::shared_ptr<Channel> NewChannel(FourCharCode type);

    /// Stops a channel's device and removes the channel. `badSGChannel` for one of another session.
    Result DisposeChannel(SGChannel channel);

    /// Whether a channel belongs to this session.
    bool Owns(SGChannel channel) const;
    /// The session's channels, in order of creation.
    const std::vector<std::shared_ptr<Channel>>& Channels() const { return channels.all; }

    /// Device lists belong to the session that made them: those that the caller did not dispose of end with it.
    void AddDeviceList(Handle list) { deviceLists.push_back(list); }

    /// `paramErr` for a list that is not of this session.
    Result DisposeDeviceList(Handle list);

    /// The settings of all channels as items, and back, as `SGGetSettings` and `SGSetSettings`.
    TaggedItems Settings() const;
    /// Replaces the channels by ones with these settings; see `SGSetSettings`.
    Result ApplySettings(const TaggedItems& settings);

    // For `SettingsTrial`.

    /// Pauses the session and keeps resting devices running. True where `EndTrial` has to end the pause.
    bool BeginTrial();

    /// Runs a channel's device and accepts what it delivers. Ignored for a channel that the session no longer has.
    void RunTried(Channel& channel);

    /// The next sample of a channel in the session's queue.
    std::optional<Sample> TakeWaiting(const Channel& channel) { return queue.Take(channel.number); }

    /// Puts a sample back at the end of the channel's part of the queue.
    void PutBack(const Channel& channel, Sample sample) { queue.Put(channel.number, std::move(sample)); }

    /// Ends a trial: the channel's device goes on as the session's mode needs it.
    void EndTrial(Channel& channel, bool wasPaused);

private:
    bool IsOpen() const { return FindInstance(number).get() == this; }
    void AddChannel(std::shared_ptr<Channel> channel);
    void DetachChannel(Channel& channel);
    void RemoveChannel(Channel& channel);
    void DiscardArrived();
    std::shared_ptr<Channel> ChannelFor(FourCharCode type, const TaggedItems& settings,
                                        std::vector<std::shared_ptr<Channel>>& present);
    Result BeginMovie();
    Result FinishMovie();
    Result RunDevices();
    void UpdateAcceptedChannels();
    Result TakeFailure();
    void HandOverCaptured();
    void DrawNewestFrames();

    std::atomic<EventLoopTimer> poller{0}; ///< the timer that calls `Idle`
    SampleQueue queue;
    ChannelList channels;
    RunningDevices devices{channels};
    SessionMovie movie{channels};
    SampleHandOver handOver{
        movie, [this] { return mode == GrabMode::Record && !paused && (handOver.intoMovieOnly || IsOpen()); }};
    Delivery delivery{queue, channels, handOver};
    std::vector<Handle> deviceLists;

    bool initialized = false;
    GrabMode mode = GrabMode::Stopped;
    bool paused = false;
    bool trying = false; ///< a settings dialog tries a channel out
    bool idling = false;
    Result inputFailure = noErr; ///< of a handing over before input
    BeforeInput beforeInput{[this] { HandOverCaptured(); }};
};

/// The session of a number, or null.
std::shared_ptr<Session> FindSession(ComponentInstance number);

} // namespace platform
