// SPDX-License-Identifier: MIT
// Isochronous reception through libiec61883.
//
// The stream has its own handle for packets, which continue through bus resets, so its thread shares nothing with AV/C
// commands. Everything else about the device is asked through a new handle: the one that receives isn't notified of a
// reset if the local node may not be opened. Five times a second a new handle shows whether there was a reset; if so
// the connection, which the source keeps up for a second, is restored while frames continue to arrive.
#include "platform/dv/DvStream.h"

#ifdef VELMORA_HAVE_DV_STREAM
#include "platform/clock/MonotonicClock.h"
#include "platform/dv/DvConnection.h"
#include "platform/dv/DvFrameClock.h"
#include "platform/dv/FireWireUnits.h"
#include "platform/log/Log.h"

#include <atomic>
#include <cerrno>
#include <libiec61883/iec61883.h>
#include <mutex>
#include <poll.h>
#include <thread>
#include <utility>

namespace platform {
namespace {

constexpr int kPollMilliseconds = 50;
constexpr int64_t kLookInterval = 200 * kNanosecondsPerMillisecond;
constexpr int64_t kReconnectInterval = 20 * kNanosecondsPerMillisecond;
constexpr int64_t kReconnectTime = kNanosecondsPerSecond;
constexpr unsigned kPacketsOfBatch = 16; // 2 ms
constexpr unsigned kPacketsOfBuffer = 2000;
constexpr int kPalFrameSize = 144'000;

// The receiver keeps its buffer from frame to frame: blocks that it has not overwritten were lost. Blocks of 80 bytes,
// 150 per sequence: after the first six, every sixteenth is an audio block (IEC 61834-2).
void MarkSoundLost(std::span<uint8_t> frame)
{
    constexpr size_t block = 80;
    for (size_t sequence = 0; sequence + 150 * block <= frame.size(); sequence += 150 * block)
        for (size_t at = 6; at < 150; at += 16)
            frame[sequence + at * block] = kLostSoundBlock;
}

struct ReceiverCloser {
    void operator()(iec61883_dv_fb* receiver) const { iec61883_dv_fb_close(receiver); }
};

class FireWireStream : public DvStream {
public:
    explicit FireWireStream(uint64_t deviceGuid) : guid(deviceGuid) {}
    ~FireWireStream() override { FireWireStream::Stop(); }

    Result Start(DvStreamSink& newSink) override
    {
        Stop();
        sink = &newSink;
        frameClock = {};
        dropped = 0;
        auto source = ReachNode(guid);
        Result result = source ? Connect(*source) : noDeviceForChannel;
        if (result == noErr)
            result = Receive(std::move(*source));
        if (result != noErr) {
            connection.Disconnect(guid);
            return result;
        }
        running = true;
        resetSeen = 0;
        nextLook = MonotonicNow() + kLookInterval;
        thread = std::thread([this] { Run(); });
        return noErr;
    }

    void Stop() override
    {
        running = false;
        if (thread.joinable())
            thread.join();
        receiver.reset();
        handle.reset();
        connection.Disconnect(guid);
    }

    std::string Reason() const override
    {
        const std::lock_guard lock(mutex);
        return reason;
    }

private:
    Result Connect(const ReachedNode& source)
    {
        const Result result = connection.Connect(source);
        const std::lock_guard lock(mutex);
        reason = connection.Reason();
        return result;
    }

    // Receives the connection's channel through the handle of `source`.
    Result Receive(ReachedNode source)
    {
        receiver.reset();
        handle = std::move(source.handle);
        receiver.reset(iec61883_dv_fb_init(handle.get(), &FireWireStream::FrameReceived, this));
        if (!receiver)
            return Fail("receiver");
        dv = iec61883_dv_fb_get_dv(receiver.get());
        iec61883_dv_set_irq_interval(dv, kPacketsOfBatch);
        iec61883_dv_set_buffers(dv, kPacketsOfBuffer);
        receivedChannel = connection.Channel();
        receivedAdapter = source.adapter;
        return iec61883_dv_fb_start(receiver.get(), receivedChannel) == 0 ? noErr : Fail("reception");
    }

    Result Fail(const char* what) const
    {
        digitizerLog.Warning("FireWire: ", GuidText(guid), ": ", what, ": ", ErrorText(errno));
        return ioErr;
    }

    void Run()
    {
        while (running) {
            pollfd ready{raw1394_get_fd(handle.get()), POLLIN, 0};
            const int events = poll(&ready, 1, kPollMilliseconds);
            Result result = noErr;
            if (events > 0 && raw1394_loop_iterate(handle.get()) < 0)
                result = Fail("packets");
            if (result == noErr && MonotonicNow() >= nextLook)
                result = Look();
            if (result != noErr)
                return sink->DvStreamFailed(result);
        }
    }

    // A paused deck sends no frames, so silence means nothing; a device that stays away from the bus, or can't be
    // connected again, has failed.
    Result Look()
    {
        const int64_t now = MonotonicNow();
        auto source = ReachNode(guid);
        const bool holds = source && connection.HoldsAt(*source) && resetSeen == 0;
        nextLook = now + (holds ? kLookInterval : kReconnectInterval);
        if (holds)
            return noErr;
        if (resetSeen == 0)
            digitizerLog.Info("FireWire: ", GuidText(guid), ": the bus was reset");
        resetSeen = resetSeen == 0 ? now : resetSeen;
        const Result result = source ? Connect(*source) : noDeviceForChannel;
        if (result != noErr)
            return now - resetSeen < kReconnectTime ? noErr : result;
        resetSeen = 0;
        const bool isSame = receivedChannel == connection.Channel() && receivedAdapter == source->adapter;
        return isSame ? noErr : Receive(std::move(*source));
    }

    static int FrameReceived(unsigned char* data, int length, int complete, void* context)
    {
        auto* stream = static_cast<FireWireStream*>(context);
        stream->Deliver({data, static_cast<size_t>(length)}, complete != 0);
        return 0;
    }

    void Deliver(std::span<uint8_t> frame, bool complete)
    {
        const unsigned droppedNow = iec61883_dv_get_dropped(dv);
        const bool packetsLost = std::exchange(dropped, droppedNow) != droppedNow || !complete;
        const int64_t time = frameClock.Next(MonotonicNow(), frame.size() == kPalFrameSize, packetsLost);
        if (frameClock.Lost() > 0)
            sink->DvFramesLost(frameClock.Lost());
        sink->DvFrameArrived(frame, complete, time);
        MarkSoundLost(frame);
    }

    const uint64_t guid;
    DvStreamSink* sink = nullptr;
    DvConnection connection;
    FireWireHandle handle;
    std::unique_ptr<iec61883_dv_fb, ReceiverCloser> receiver;
    iec61883_dv_t dv = nullptr; ///< the receiver's
    int receivedChannel = -1;
    int receivedAdapter = -1;
    DvFrameClock frameClock;
    unsigned dropped = 0;
    int64_t nextLook = 0;
    int64_t resetSeen = 0; ///< when a reset was seen after which the connection has not been restored; 0 for none
    std::atomic<bool> running{false};
    std::thread thread;
    mutable std::mutex mutex; // guards the following
    std::string reason;
};

} // namespace

std::unique_ptr<DvStream> OpenFireWireStream(uint64_t guid)
{
    return ReachNode(guid) ? std::make_unique<FireWireStream>(guid) : nullptr;
}

} // namespace platform

#else

std::unique_ptr<platform::DvStream> platform::OpenFireWireStream(uint64_t)
{
    return nullptr;
}

#endif
