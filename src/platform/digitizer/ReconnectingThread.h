// SPDX-License-Identifier: MIT
#pragma once

#include "platform/clock/SuspendedTime.h"
#include "platform/digitizer/Digitizer.h"
#include "platform/files/UniqueFD.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <poll.h>
#include <span>
#include <thread>

namespace platform {

/// What was found when a device was checked.
enum class Taken {
    Frame,   ///< a good frame, borrowed until it is given back
    Alive,   ///< frames that were delivered otherwise, or can't be decoded before the next key frame
    Damaged, ///< a frame that is not a picture
    Nothing, ///< nothing to deliver
    Restart, ///< the device must be started again at once: its format has changed, or its bus was reset
    Failed,  ///< the device is gone or broken
};

/// A device as its thread runs it. All calls come from that thread.
class DeviceRun {
public:
    virtual ~DeviceRun() = default;

    /// Opens the device if necessary, restores the requested settings, and starts it.
    virtual Result Begin() = 0;

    /// Stops the device. After a failure (`why` other than `noErr`) also closes it.
    virtual void End(Result why) = 0;

    /// The descriptor that becomes ready when there is something to take; -1 for a device that is only checked for
    /// silence.
    virtual pollfd Waiting() const = 0;
    /// Waits like poll() on the descriptors.
    virtual int Poll(std::span<pollfd> descriptors, int milliseconds);

    /// Takes what is ready. A frame's sequence number counts from any number at the start of the run.
    virtual Taken Take(short events, CapturedFrame& frame) = 0;

    /// Gives back the frame of the last `Take`; returns false on failure.
    virtual bool GiveBack() { return true; }

    /// The reason why the last call failed.
    virtual Result Failure() const = 0;

    /// Nanoseconds without a good frame after which `Silent` is called.
    virtual int64_t SilenceAllowed(bool beforeFirstFrame) const = 0;

    /// The meaning of silence: `Nothing` if all is well (a long exposure), `Restart`, or `Failed`.
    virtual Taken Silent() { return Taken::Failed; }
};

/// The thread that keeps a device delivering and reconnects it after it was unplugged: one state machine for all
/// families.
///
/// Its states: stopped; delivering; away. `Start` starts delivery and waits a moment for the result. A failure in
/// mid-run is reported once; the device is ended and started again at a fixed interval until it delivers or is stopped.
/// The next outage is reported if a good frame has arrived in between. Only good frames count: a device that sends
/// nothing but damaged ones has failed like a silent one. After the machine was suspended, a device that does not send
/// soon is started again without a report. Sequence numbers continue across all of this, with a gap of one for each
/// interruption.
class ReconnectingThread {
public:
    /// `device` must outlive the object.
    explicit ReconnectingThread(DeviceRun& device) : device(device) {}
    ReconnectingThread(const ReconnectingThread&) = delete;
    ReconnectingThread& operator=(const ReconnectingThread&) = delete;
    ~ReconnectingThread() { Stop(); }

    /// As `Digitizer::Start`. A device that takes more than a moment to start counts as started; its failure is then
    /// reported to the sink.
    Result Start(FrameSink& sink);

    /// Stops and ends the device. Afterwards the sink is not called any more.
    void Stop();

    /// Whether it is started.
    bool IsRunning() const { return sink != nullptr; }

    /// Stops a running device, makes a change, and starts it again. Returns the result of the change, or else of the
    /// start. A device that refuses to start is tried again until it is stopped.
    template <typename Change> Result Around(Change change)
    {
        FrameSink* const running = sink;
        Halt();
        const Result result = change();
        const Result begun = running == nullptr ? noErr : Launch(*running, true);
        return result != noErr ? result : begun;
    }

    /// Whether the caller wants the device to stop; for calls that take long.
    bool IsStopping() const { return stopping; }

private:
    Result Launch(FrameSink& target, bool persistent);
    void Halt();
    void Run(bool persistent);
    bool ReportStart(Result result, bool persistent);
    void Report(Result failure);
    Result Deliver();
    std::optional<Result> Handle(Taken taken, CapturedFrame& frame);
    void NoteSuspension();
    uint32_t CountFrame(uint32_t deviceSequence);
    void DeliverFrame(CapturedFrame& frame);
    bool WaitForStop(std::chrono::milliseconds time);

    DeviceRun& device;
    FrameSink* sink = nullptr;
    std::thread thread;
    UniqueFD stopEvent;
    std::atomic<bool> stopping{false};

    std::mutex mutex; // guards passing on the first result
    std::condition_variable changed;
    std::optional<Result> firstResult;
    bool callerWaits = false;

    // Used by the thread while it runs.
    bool failureReported = false;
    int restartsWithoutFrame = 0;
    int spuriousWakeups = 0;
    int64_t silenceEnds = 0;
    SuspendWatch suspendWatch;
    bool wasSuspended = false;          ///< since the last good frame
    std::optional<uint32_t> firstOfRun; ///< the device's own number of the first frame of this run
    uint32_t base = 0;                  ///< our number of that frame
    uint32_t next = 0;                  ///< our number of the frame after the last one
};

} // namespace platform
