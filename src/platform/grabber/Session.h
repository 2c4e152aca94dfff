// SPDX-License-Identifier: MIT
#pragma once

#include "platform/components/Components.h"
#include "platform/drawing/GraphicsWorlds.h"
#include "platform/events/EventLoop.h"
#include "platform/grabber/Delivery.h"
#include "platform/grabber/DirectRecording.h"
#include "platform/grabber/RecordingSplits.h"

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace platform {

/// One session of the Sequence Grabber.
class Session final : public ComponentObject, private DeliverySink {
public:
    Session();
    ~Session() override;
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// Its own number, known from the first call that names it.
    ComponentInstance number = 0;

    Result Initialize();
    void SetPort(PortReference target) { port = target; }
    Result SetOutput(const std::string& path, int32_t flags);
    void SetSplits(const SGSplitRule& rule, SGSplitHandler handler);
    void SetDataProcedure(int32_t callback, int32_t callbackRefCon);

    /// Starts a mode, or goes on with it; ends a pause.
    Result Start(GrabMode wanted);
    Result Stop();

    /// Stops and releases the devices at once.
    Result Release();

    void Pause(bool pause);
    Result Prepare(bool forPreview, bool forRecord) const;
    Result Idle();

    GrabMode Mode() const { return mode; }

    /// Whether what is captured goes into a movie, the grabber's own or one that the data procedure feeds. Its format
    /// must then stay as it is.
    bool IsWritingMovie() const;

    /// Of the grabber's own movie; false while there is none.
    bool GetRecordingStatus(MovieStorageStatus& status) const { return recording && recording->GetStatus(status); }

    std::shared_ptr<Channel> NewChannel(FourCharCode type);
    Result DisposeChannel(SGChannel channel);
    bool Owns(SGChannel channel) const;
    const std::vector<std::shared_ptr<Channel>>& Channels() const { return channels.all; }

    /// Device lists belong to the session that made them: what nobody disposed of goes with it.
    void AddDeviceList(Handle list) { deviceLists.push_back(list); }
    Result DisposeDeviceList(Handle list);

    TaggedItems Settings() const;
    Result ApplySettings(const TaggedItems& settings);

    /// Holds the session for `SettingsTrial`, which takes what a channel's device sends meanwhile; and its end.
    void BeginTrial(Channel& channel);
    void RunTried(Channel& channel);
    std::optional<Sample> TakeTried(const Channel& channel) { return queue.Take(channel.number); }
    void EndTrial(Channel& channel);

private:
    bool IsOpen() const { return FindInstance(number).get() == this; }
    void AddChannel(std::shared_ptr<Channel> channel);
    void DetachChannel(Channel& channel);
    void RemoveChannel(Channel& channel);
    void HaltChannels();
    void ReleaseRestingDevices(int64_t now);
    void DiscardArrived();
    std::shared_ptr<Channel> ChannelFor(FourCharCode type, const TaggedItems& settings,
                                        std::vector<std::shared_ptr<Channel>>& present);
    Result RunChannels();
    void ChooseWhatIsAccepted();
    void RetryAbsentDevices(int64_t now);
    Result TakeFailure();
    DirectRecording::Plan PlanFor(const std::string& path) const;
    Result BeginRecording();
    void SplitBefore(const Sample& frame);
    void RecordInFile(const std::string& path, int64_t captureTime);
    void NoteRecordingFailure(Result result);
    Result FinishRecording();

    // What a delivery hands over.
    Result TakeFrame(VideoChannel& channel, Sample frame, int32_t time, bool shown) override;
    Result TakeSound(SoundChannel& channel, const SoundStream::Piece& piece, int32_t time) override;
    bool WantsSound() const override { return procedure != 0 || recording != nullptr; }
    bool GoesOn() const override { return mode == GrabMode::Record && !paused && (finishing || IsOpen()); }
    Result CallProcedure(const Channel& channel, Address data, int64_t bytes, int32_t time);

    void HandOverCaptured();
    void DrawNewestFrames();

    std::atomic<EventLoopTimer> poller{0}; ///< the timer that calls `Idle`
    SampleQueue queue;
    ChannelList channels;
    Delivery delivery{queue, channels, *this};
    std::vector<Handle> deviceLists;

    bool initialized = false;
    GrabMode mode = GrabMode::Stopped;
    bool paused = false;
    bool trying = false;          ///< a settings dialog tries a channel out
    bool heldForTrial = false;    ///< paused by a settings dialog alone
    std::vector<Sample> setAside; ///< what waited in the tried channel's lane when the trial began
    bool idling = false;
    bool finishing = false; ///< the grabber's own movie gets its last samples
    int64_t lastRetry = 0;
    std::optional<int64_t> restingSince; ///< the devices still run, for a start that may follow soon

    PortReference port = 0;
    int32_t procedure = 0;
    int32_t refCon = 0;
    std::string outputPath;
    int32_t outputFlags = 0;
    std::unique_ptr<DirectRecording> recording;
    RecordingSplits splits;
    SGSplitRule splitRule;
    SGSplitHandler splitHandler;
    bool recordingEnded = false; ///< by the rule: what comes now is in no file
    Result recordingFailure = noErr;
    Result inputFailure = noErr; ///< of a handing over before input

    OwnedBlock offsetCell{sizeof(int32_t)};
    BeforeInput beforeInput{[this] { HandOverCaptured(); }};
};

/// The session of a number, or null.
std::shared_ptr<Session> FindSession(ComponentInstance number);

} // namespace platform
