// SPDX-License-Identifier: MIT
#include "platform/digitizer/ReconnectingThread.h"

#include "platform/clock/MonotonicClock.h"
#include "platform/digitizer/DeviceTimes.h"
#include "platform/log/Log.h"

#include <cerrno>
#include <sys/eventfd.h>

namespace platform {
namespace {

constexpr std::chrono::milliseconds kPause{5}; // after a spurious wake-up
constexpr int kSpuriousWakeups = 2;            // consecutive ones that are tolerated without that pause
constexpr int kRestartsWithoutFrame = 3;
constexpr int64_t kSuspendCheckInterval = 250; // milliseconds for which a silent device is awaited at a time

} // namespace

int DeviceRun::Poll(std::span<pollfd> descriptors, int milliseconds)
{
    return ::poll(descriptors.data(), descriptors.size(), milliseconds);
}

Result ReconnectingThread::Start(FrameSink& target)
{
    Stop();
    next = 0;
    restartsWithoutFrame = 0;
    failureReported = false;
    return Launch(target, false);
}

void ReconnectingThread::Stop()
{
    Halt();
    sink = nullptr;
}

Result ReconnectingThread::Launch(FrameSink& target, bool persistent)
{
    sink = &target;
    stopEvent = UniqueFD(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    stopping = false;
    firstResult.reset();
    callerWaits = true;
    thread = std::thread([=, this] { Run(persistent); });
    std::unique_lock lock(mutex);
    changed.wait_for(lock, kStartPatience, [this] { return firstResult.has_value(); });
    callerWaits = false;
    const Result result = firstResult.value_or(noErr);
    lock.unlock();
    if (result != noErr && result != noDeviceForChannel && !persistent)
        Stop();
    return result;
}

void ReconnectingThread::Halt()
{
    if (!thread.joinable())
        return;
    stopping = true;
    eventfd_write(stopEvent.Get(), 1);
    thread.join();
}

// Passes the result of the start to the caller, or to the sink if the caller has not waited for it. Returns false if
// the caller gives up.
bool ReconnectingThread::ReportStart(Result result, bool persistent)
{
    const std::lock_guard lock(mutex);
    firstResult = result;
    changed.notify_all();
    if (!callerWaits) {
        if (result != noErr)
            Report(result);
        return true;
    }
    failureReported = failureReported || result != noErr;
    return persistent || result == noErr || result == noDeviceForChannel;
}

void ReconnectingThread::Report(Result failure)
{
    if (!failureReported)
        sink->CaptureFailed(failure);
    failureReported = true;
}

void ReconnectingThread::Run(bool persistent)
{
    Result result = device.Begin();
    if (!ReportStart(result, persistent))
        return;
    for (;;) {
        if (result == noErr) {
            result = Deliver();
            device.End(result);
            if (stopping)
                return;
            if (result == noErr && ++restartsWithoutFrame <= kRestartsWithoutFrame)
                result = device.Begin();
            else if (result == noErr)
                result = deviceCantMeetRequest;
            if (result == noErr)
                continue;
            Report(result);
        }
        if (WaitForStop(kRetryInterval))
            return;
        result = device.Begin();
    }
}

// Delivers until something ends it. `noErr` means a stop, or that the device must be started again.
Result ReconnectingThread::Deliver()
{
    firstOfRun.reset();
    spuriousWakeups = 0;
    silenceEnds = MonotonicNow() + device.SilenceAllowed(true);
    wasSuspended = false;
    for (;;) {
        const int64_t left =
            std::clamp<int64_t>((silenceEnds - MonotonicNow()) / kNanosecondsPerMillisecond, 0, kSuspendCheckInterval);
        pollfd descriptors[] = {{stopEvent.Get(), POLLIN, 0}, device.Waiting()};
        const int ready = device.Poll(descriptors, static_cast<int>(left));
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready < 0)
            return ioErr;
        if (descriptors[0].revents != 0)
            return noErr;
        CapturedFrame frame;
        if (ready > 0)
            if (const auto end = Handle(device.Take(descriptors[1].revents, frame), frame))
                return *end;
        NoteSuspension();
        if (MonotonicNow() < silenceEnds)
            continue;
        if (wasSuspended)
            return noErr;
        if (const auto end = Handle(device.Silent(), frame))
            return *end;
        silenceEnds = MonotonicNow() + device.SilenceAllowed(false);
    }
}

// After a suspension a working device sends within half of its allowed silence.
void ReconnectingThread::NoteSuspension()
{
    const int64_t length = suspendWatch.TakeSuspension();
    if (length == 0)
        return;
    digitizerLog.Info("the machine was suspended for ", length / kNanosecondsPerMillisecond, " ms");
    wasSuspended = true;
    restartsWithoutFrame = 0;
    silenceEnds = std::min(silenceEnds, MonotonicNow() + device.SilenceAllowed(false) / 2);
}

// Handles what was taken. A result ends the delivery.
std::optional<Result> ReconnectingThread::Handle(Taken taken, CapturedFrame& frame)
{
    spuriousWakeups = taken == Taken::Nothing ? spuriousWakeups + 1 : 0;
    switch (taken) {
    case Taken::Frame:
        DeliverFrame(frame);
        if (!device.GiveBack())
            return device.Failure();
        [[fallthrough]];
    case Taken::Alive:
        failureReported = false;
        restartsWithoutFrame = 0;
        wasSuspended = false;
        silenceEnds = MonotonicNow() + device.SilenceAllowed(false);
        return std::nullopt;
    case Taken::Damaged:
        sink->FrameDamaged(CountFrame(frame.sequence));
        return std::nullopt;
    case Taken::Nothing:
        // Without a pause a driver that keeps waking us up would keep a processor busy.
        if (spuriousWakeups > kSpuriousWakeups)
            WaitForStop(kPause);
        return std::nullopt;
    case Taken::Restart:
        return noErr;
    case Taken::Failed:
        break;
    }
    const Result failure = device.Failure();
    return failure == noErr ? ioErr : failure;
}

uint32_t ReconnectingThread::CountFrame(uint32_t deviceSequence)
{
    if (!firstOfRun) {
        firstOfRun = deviceSequence;
        base = next == 0 ? 0 : next + 1;
    }
    const uint32_t sequence = base + (deviceSequence - *firstOfRun);
    next = sequence + 1;
    return sequence;
}

void ReconnectingThread::DeliverFrame(CapturedFrame& frame)
{
    frame.sequence = CountFrame(frame.sequence);
    sink->FrameArrived(frame);
}

// Returns true if the caller stops the device within that time.
bool ReconnectingThread::WaitForStop(std::chrono::milliseconds time)
{
    pollfd stop{stopEvent.Get(), POLLIN, 0};
    return ::poll(&stop, 1, static_cast<int>(time.count())) > 0;
}

} // namespace platform
