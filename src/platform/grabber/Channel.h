// SPDX-License-Identifier: MIT
#pragma once

#include "platform/atoms/TaggedItems.h"
#include "platform/grabber/LossLog.h"
#include "platform/grabber/Sample.h"
#include "platform/grabber/SampleQueue.h"
#include "platform/grabber/SequenceGrabber.h"
#include "platform/movies/Movies.h"

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace platform {

/// A device of either kind, as the published lists show it.
struct ListedDevice {
    std::string name;
    std::string identity;
    std::vector<std::string> inputs;
    int input = 0; ///< the one in use, known of the channel's own device
    bool available = true;
    std::string reason = {}; ///< why it can't be had, or does not deliver: a sentence for people, or empty
};

/// What a session does with its devices.
enum class GrabMode { Stopped, Preview, Record };

/// One channel of a session: a device, how it is used, and the track queue that its samples come through. Called on the
/// main thread but for the sinks of the derived classes.
class Channel {
public:
    /// A channel of "vide" or "soun" whose samples go into the queue, which outlives it.
    Channel(FourCharCode type, SampleQueue& queue) : type(type), queue(queue) {}
    virtual ~Channel() = default;
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    const FourCharCode type;
    class Session* owner = nullptr;   ///< outlives the channel's number
    std::atomic<SGChannel> number{0}; ///< given by the session, before the channel is first started
    int32_t usage = 0;
    int32_t playFlags = 0;

    /// The media to which the last buffer handed over was added, or 0.
    Media feeds = 0;

    /// Of the buffer being handed over, or of the newest one.
    SharedDescription description;

    /// Whether the channel has something to do in a mode.
    bool IsUsedIn(GrabMode mode) const;

    /// Starts the device, or lets it run. A device that is absent counts as running: it delivers once it is back.
    Result Run();

    /// Stops the device; when it returns, no further sample comes.
    void Halt();

    /// Drops what the device delivers but lets it run, so that a start that follows soon restarts nothing.
    void Rest();

    /// Whether the device runs, resting or not.
    bool Running() const { return running; }

    /// Whether the device runs without being used.
    bool Resting() const { return resting; }

    /// Whether samples are wanted; others are dropped where they arrive and counted nowhere.
    void Accept(bool wanted) { accepting = wanted; }

    /// The failure of the device since the last call, or 0.
    Result TakeFailure() { return failure.exchange(noErr); }

    /// Whether the device failed and has delivered nothing since.
    bool DeviceIsGone() const { return gone; }

    /// Whether a sample is to be expected soon: the device's last one came not much longer ago than its usual break,
    /// or, before its first one, it was started no longer than `startPatience` ago.
    bool IsAwaitedAt(int64_t now, int64_t startPatience) const;

    /// Waits until all that has arrived is in the queue.
    virtual void FinishArrived() {}

    /// Forgets what has arrived and isn't in the queue yet.
    virtual void DiscardArrived() {}

    /// Units a second of the channel's times.
    virtual int32_t TimeScale() const = 0;

    /// Why the device does not deliver as it should, for people.
    virtual std::string Reason() const { return {}; }

    /// Opens the channel's track queue, for at most so many waiting samples.
    void OpenTrackQueue(size_t maxSamples);

    /// What became of the samples since `ResetCounts`.
    SGChannelCounts Counts() const;
    /// Sets all counts to 0.
    void ResetCounts();
    /// The frames lost since the last call.
    std::vector<SGLostFrame> TakeLostFrames() { return lost.Take(); }

    /// Counts a buffer that was handed over, and a frame whose picture was skipped.
    void CountDelivered() { ++counts.delivered; }
    /// Counts a frame whose picture was skipped.
    void CountNotShown() { ++counts.notShown; }

    /// The devices that the channel could use, with distinct names, and the one that it does use.
    virtual std::vector<ListedDevice> Devices() const = 0;
    /// The device in use.
    virtual ListedDevice Device() const = 0;

    /// Takes a device of the list. A device that can't be started leaves the present one in use.
    virtual Result TakeDevice(const ListedDevice& device) = 0;

    /// A function that takes the present device again. Called while the channel is halted; works even if the device has
    /// left the list by then.
    virtual std::function<void()> RestorePoint() = 0;

    /// Whether a movie is being written out of this session's samples: their format must then stay as it is.
    bool FormatIsFixed() const;

    /// All settings of the channel as items, and back: what the machine can't meet is left out. A device is restarted
    /// only by what differs.
    virtual TaggedItems Settings() const = 0;
    /// Applies settings returned by `Settings`, as far as the device supports them.
    virtual void ApplySettings(const TaggedItems& settings) = 0;

    /// Makes the channel as good as new, but for its device and what that is set to.
    virtual void ForgetSettings();

protected:
    struct Counters {
        std::atomic<uint64_t> delivered{0};
        std::atomic<uint64_t> droppedInQueue{0};
        std::atomic<uint64_t> lostBeforeUs{0};
        std::atomic<uint64_t> unreadable{0};
        std::atomic<uint64_t> damaged{0};
        std::atomic<uint64_t> incomplete{0};
        std::atomic<uint64_t> notShown{0};
    };

    virtual Result StartDevice() = 0;
    virtual void StopDevice() = 0;

    /// Runs another device in place of the present one, where that runs. If it can't be started, the present one goes
    /// on; an absent one is taken too.
    template <typename Device, typename Sink> Result RunInstead(Device& other, Sink& sink)
    {
        if (resting)
            Halt();
        if (!running)
            return noErr;
        StopDevice();
        const Result result = other.Start(sink);
        if (result == noDeviceForChannel)
            NoteFailure(result);
        if (result == noErr || result == noDeviceForChannel)
            return noErr;
        running = false; // where the present one doesn't start again either, it is tried once more later
        Run();
        return result;
    }

    /// Called by the sinks, on the device's thread.
    void NoteArrival(int64_t now, int64_t usualBreak);
    void NoteFailure(Result result);
    bool Accepting() const { return accepting; }

    /// Counts a sample that is lost, and notes it.
    void CountLost(std::atomic<uint64_t>& count, int64_t captureTime, SGLostFrame::Cause cause);

    SampleQueue& queue;
    Counters counts;
    LossLog lost;

private:
    bool running = false;
    bool resting = false; ///< runs, and what it delivers is dropped
    int64_t startTime = 0;
    std::atomic<bool> accepting{false};
    std::atomic<bool> arrivedSinceStart{false};
    std::atomic<bool> gone{false};
    std::atomic<int64_t> lastArrival{0};
    std::atomic<int64_t> usualBreak{0};
    std::atomic<Result> failure{noErr};

    void BeginOutage(int64_t now);
    void EndOutage(int64_t now);
    std::atomic<int64_t> outageStart{0}; ///< 0: the device is there
    std::atomic<int64_t> outagesBefore{0};
};

/// The living channel of a number, or null.
std::shared_ptr<Channel> FindChannel(SGChannel number);

/// The same for a channel of class `T`; null for another class.
template <typename T> std::shared_ptr<T> FindChannel(SGChannel number)
{
    return std::dynamic_pointer_cast<T>(FindChannel(number));
}

/// Gives a channel its number, and ends that.
void RegisterChannel(std::shared_ptr<Channel> channel);
/// Removes a channel's reference.
void UnregisterChannel(SGChannel number);

} // namespace platform
