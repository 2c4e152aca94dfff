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
    /// A stopped session without channels and output.
    Session();
    ~Session() override;
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// The session's own number, known from the first call that uses it.
    ComponentInstance number = 0;

    /// Initializes the session. `cantDoThatInCurrentMode` for every call but the first.
    Result Initialize();

    /// Sets the port that previews are drawn into.
    void SetPort(PortReference target) { handOver.port = target; }

    /// Installs the data procedure, as `SGSetDataProc`.
    void SetDataProcedure(int32_t callback, int32_t refCon);

    /// The movie that the session writes itself.
    SessionMovie& Movie() { return movie; }

    /// Starts a mode, or continues it; ends a pause. Returns the first failure of a device.
    Result Start(GrabMode wanted);

    /// Stops, and completes the session's own movie, whose first failure is returned.
    Result Stop();

    /// Stops and releases the devices at once.
    Result Release();

    /// Pauses or continues. What devices deliver during a pause is dropped.
    void Pause(bool pause);

    /// Returns `noDeviceForChannel` if a channel that the given modes use has no device.
    Result Prepare(bool forPreview, bool forRecord) const;

    /// Delivers waiting samples or draws the newest frame. A failure of the data procedure stops the session.
    Result Idle();

    /// The present mode, paused or not.
    GrabMode Mode() const { return mode; }

    /// Whether captured samples go into a movie, the session's own or one that the data procedure writes, so that their
    /// format must not change.
    bool IsWritingMovie() const;

    /// Creates a channel on the default device of its type; null for an unknown type.
    std::shared_ptr<Channel> NewChannel(FourCharCode type);

    /// Stops a channel's device and removes the channel. `badSGChannel` for a channel of another session.
    Result DisposeChannel(SGChannel channel);

    /// Whether a channel belongs to this session.
    bool Owns(SGChannel channel) const;
    /// The session's channels, in order of creation.
    const std::vector<std::shared_ptr<Channel>>& Channels() const { return channels.all; }

    /// Device lists belong to the session that created them, which disposes those that the caller did not dispose.
    void AddDeviceList(Handle list) { deviceLists.push_back(list); }

    /// `paramErr` for a list that does not belong to this session.
    Result DisposeDeviceList(Handle list);

    /// The settings of all channels as items.
    TaggedItems Settings() const;
    /// Replaces the channels by ones with these settings; see `SGSetSettings`.
    Result ApplySettings(const TaggedItems& settings);

    // For `SettingsTrial`.

    /// Pauses the session and keeps unused devices running. Returns whether `EndTrial` has to end the pause.
    bool BeginTrial();

    /// Runs a channel's device and accepts what it delivers. Does nothing for a channel that the session no longer has.
    void RunTried(Channel& channel);

    /// Removes and returns the next sample of a channel in the session's queue.
    std::optional<Sample> TakeWaiting(const Channel& channel) { return queue.Take(channel.number); }

    /// Puts a sample back at the end of the channel's part of the queue.
    void PutBack(const Channel& channel, Sample sample) { queue.Put(channel.number, std::move(sample)); }

    /// Ends a trial: the channel's device runs as the session's mode needs it.
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
    void ReleaseSoundRates();
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
    bool trying = false; ///< a settings dialog is trying out a channel
    bool idling = false;
    Result inputFailure = noErr; ///< of a delivery before user input
    BeforeInput beforeInput{[this] { HandOverCaptured(); }};
};

/// The session with that number, or null.
std::shared_ptr<Session> FindSession(ComponentInstance number);

} // namespace platform
