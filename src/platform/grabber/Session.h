#pragma once

#include "platform/components/Components.h"
#include "platform/drawing/GraphicsWorlds.h"
#include "platform/grabber/DirectRecording.h"
#include "platform/grabber/SampleQueue.h"
#include "platform/grabber/SoundChannel.h"
#include "platform/grabber/VideoChannel.h"

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace platform {

/// One session of the Sequence Grabber.
class Session final : public ComponentObject {
public:
    Session() = default;
    ~Session() override;
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// Its own number, known from the first call that names it.
    ComponentInstance number = 0;

    Result Initialize();
    void SetPort(PortReference target) { port = target; }
    Result SetOutput(const std::string& path, int32_t flags);
    void SetDataProcedure(int32_t callback, int32_t callbackRefCon);

    /// Starts a mode, or goes on with it; ends a pause.
    Result Start(GrabMode wanted);
    Result Stop();
    void Pause(bool pause);
    Result Prepare(bool forPreview, bool forRecord) const;
    Result Idle();

    GrabMode Mode() const { return mode; }

    std::shared_ptr<Channel> NewChannel(FourCharCode type);
    Result DisposeChannel(SGChannel channel);
    bool Owns(SGChannel channel) const;
    const std::vector<std::shared_ptr<Channel>>& Channels() const { return channels; }

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
    /// A frame or a piece of sound on its way to the data procedure.
    struct Buffer {
        Address data;
        int64_t bytes;
        int64_t captureTime;
    };

    /// What became of an attempt to hand over sound.
    enum class SoundStep { HandedOver, Reached, MustWait };

    bool IsOpen() const { return FindInstance(number).get() == this; }
    void BeginTimelineAnew();
    void AddChannel(std::shared_ptr<Channel> channel);
    void RemoveChannel(Channel& channel);
    void HaltChannels();
    Result RunChannels();
    void ChooseWhatIsAccepted();
    void RetryAbsentDevices(int64_t now);
    Result TakeFailure();
    Result BeginRecording();
    Result FinishRecording();

    // Delivery.cpp
    Result Deliver(int64_t now, bool ending);
    bool DeliverNext(int64_t now, bool ending, Result& result);
    std::shared_ptr<VideoChannel> NextFrame(int64_t now, bool ending, SampleQueue::Lane& waiting) const;
    SoundStep DeliverSound(SoundChannel& channel, const SampleQueue::Lane& frame, int64_t now, bool ending,
                           Result& result);
    Result HandOverFrame(VideoChannel& channel, bool ending);
    Result HandOverSound(SoundChannel& channel, const SoundStream::Piece& piece, bool ending);
    Result HandOver(Channel& channel, const Buffer& buffer, bool ending);
    bool PicturesAwaited(int64_t now) const;
    int64_t SoundLimit(int64_t now, bool ending) const;
    void NoteFrame(int64_t captureTime);
    int32_t TimeOf(int64_t captureTime, int32_t scale) const;
    void DrawNewestFrames();

    SampleQueue queue;
    std::vector<std::shared_ptr<Channel>> channels;
    std::vector<std::shared_ptr<VideoChannel>> videoChannels; ///< the same, by kind
    std::vector<std::shared_ptr<SoundChannel>> soundChannels;
    std::vector<Handle> deviceLists;

    bool initialized = false;
    GrabMode mode = GrabMode::Stopped;
    bool paused = false;
    bool heldForTrial = false;    ///< paused by a settings dialog alone
    std::vector<Sample> setAside; ///< what waited in the tried channel's lane when the trial began
    bool idling = false;
    int64_t lastRetry = 0;

    PortReference port = 0;
    int32_t procedure = 0;
    int32_t refCon = 0;
    std::string outputPath;
    int32_t outputFlags = 0;
    std::unique_ptr<DirectRecording> recording;
    Result recordingFailure = noErr;

    // The run: from the session's first start on, over all stops.
    std::optional<int64_t> origin;       ///< capture time that counts as 0
    std::optional<int64_t> pictureAt;    ///< capture time of the last frame handed over
    std::optional<int64_t> soundAt;      ///< capture time up to which sound has been handed over
    std::array<int64_t, 4> lastBreaks{}; ///< between frames
    size_t breaksKnown = 0;
    size_t soundHandedOver = 0;  ///< pieces of sound in this call of Idle
    size_t framesHandedOver = 0; ///< frames in this call of Idle
    OwnedBlock offsetCell{sizeof(int32_t)};
};

/// The session of a number, or null.
std::shared_ptr<Session> FindSession(ComponentInstance number);

} // namespace platform
