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

/// A device of either kind, as in the published lists.
struct ListedDevice {
    std::string name;
    std::string identity;
    std::vector<std::string> inputs;
    int input = 0; ///< the one in use; only known for the channel's own device
    bool available = true;
    std::string reason = {}; ///< why it can't be opened, or does not deliver: a sentence for the user, or empty
};

/// The modes of a session.
enum class GrabMode { Stopped, Preview, Record };

/// One channel of a session: a device, its usage, and the track queue for its samples. Called on the main thread,
/// except the sinks of the derived classes.
class Channel {
public:
    /// A channel of type "vide" or "soun" that puts its samples into the queue, which must outlive it.
    Channel(FourCharCode type, SampleQueue& queue) : type(type), queue(queue) {}
    virtual ~Channel() = default;
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    const FourCharCode type;
    class Session* owner = nullptr;   ///< outlives the channel's number
    std::atomic<SGChannel> number{0}; ///< assigned by the session before the first start
    int32_t usage = 0;
    int32_t playFlags = 0;

    /// The media to which the last delivered buffer was added, or 0.
    Media feeds = 0;

    /// The description of the buffer being delivered, or of the newest one.
    SharedDescription description;

    /// Whether the channel is used in a mode.
    bool IsUsedIn(GrabMode mode) const;

    /// Starts the device, or keeps it running. An absent device counts as running: it delivers once it is back.
    Result Run();

    /// Stops the device. Afterwards no further sample arrives.
    void Halt();

    /// Drops what the device delivers but keeps it running, so that a start soon afterwards restarts nothing.
    void Rest();

    /// Whether the device runs, used or not.
    bool Running() const { return running; }

    /// Whether the device runs unused.
    bool Resting() const { return resting; }

    /// Sets whether samples are wanted; others are dropped on arrival and not counted.
    void Accept(bool wanted) { accepting = wanted; }

    /// The device's failure since the last call, or 0.
    Result TakeFailure() { return failure.exchange(noErr); }

    /// Whether the device has failed and delivered nothing since.
    bool DeviceIsGone() const { return gone; }

    /// Whether a sample is to be expected soon: the last one is not much older than the device's usual interval, or,
    /// before the first one, the device was started at most `startPatience` ago.
    bool IsAwaitedAt(int64_t now, int64_t startPatience) const;

    /// Waits until everything that has arrived is in the queue.
    virtual void FinishArrived() {}

    /// Discards what has arrived but is not in the queue yet.
    virtual void DiscardArrived() {}

    /// Time scale of the channel in units per second.
    virtual int32_t TimeScale() const = 0;

    /// Why the device does not deliver as it should: a sentence for the user.
    virtual std::string Reason() const { return {}; }

    /// Opens the channel's track queue for at most that many samples.
    void OpenTrackQueue(size_t maxSamples);

    /// Counts of samples since `ResetCounts`.
    SGChannelCounts Counts() const;
    /// Sets all counts to 0.
    void ResetCounts();
    /// Returns the frames lost since the last call.
    std::vector<SGLostFrame> TakeLostFrames() { return lost.Take(); }

    /// Counts a delivered buffer.
    void CountDelivered() { ++counts.delivered; }
    /// Counts a frame whose picture was skipped.
    void CountNotShown() { ++counts.notShown; }

    /// The devices that the channel can use, with distinct names.
    virtual std::vector<ListedDevice> Devices() const = 0;
    /// The device in use.
    virtual ListedDevice Device() const = 0;

    /// Switches to a device of the list. If it can't be started, the present device stays in use.
    virtual Result TakeDevice(const ListedDevice& device) = 0;

    /// Returns a function that switches back to the present device. Call that while the channel is halted; it works
    /// even if the device has left the list meanwhile.
    virtual std::function<void()> RestorePoint() = 0;

    /// Whether a movie is being written from this session's samples, so that their format must not change.
    bool FormatIsFixed() const;

    /// All settings of the channel as items.
    virtual TaggedItems Settings() const = 0;
    /// Applies settings returned by `Settings`, as far as the device supports them. The device is only restarted if
    /// something differs.
    virtual void ApplySettings(const TaggedItems& settings) = 0;

    /// Resets the channel to its initial state, except its device and the device's settings.
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

    /// Runs another device instead of the present one, if that runs. If the new one can't be started the present one
    /// continues; an absent device is accepted.
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
        running = false; // if the present one can't be restarted either, it is tried again later
        Run();
        return result;
    }

    /// Called by the sinks, on the device's thread.
    void NoteArrival(int64_t now, int64_t usualBreak);
    void NoteFailure(Result result);
    bool Accepting() const { return accepting; }

    /// Counts and logs a lost sample.
    void CountLost(std::atomic<uint64_t>& count, int64_t captureTime, SGLostFrame::Cause cause);

    SampleQueue& queue;
    Counters counts;
    LossLog lost;

private:
    bool running = false;
    bool resting = false; ///< running, and what it delivers is dropped
    int64_t startTime = 0;
    std::atomic<bool> accepting{false};
    std::atomic<bool> arrivedSinceStart{false};
    std::atomic<bool> gone{false};
    std::atomic<int64_t> lastArrival{0};
    std::atomic<int64_t> usualBreak{0};
    std::atomic<Result> failure{noErr};

    void BeginOutage(int64_t now);
    void EndOutage(int64_t now);
    std::atomic<int64_t> outageStart{0}; ///< 0: the device is present
    std::atomic<int64_t> outagesBefore{0};
};

/// The channel with that number, or null.
std::shared_ptr<Channel> FindChannel(SGChannel number);

/// The same for a channel of class `T`; null for a channel of another class.
template <typename T> std::shared_ptr<T> FindChannel(SGChannel number)
{
    return std::dynamic_pointer_cast<T>(FindChannel(number));
}

/// Assigns a number to a channel.
void RegisterChannel(std::shared_ptr<Channel> channel);
/// Removes a channel's reference.
void UnregisterChannel(SGChannel number);

} // namespace platform
