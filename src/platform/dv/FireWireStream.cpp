// Isochronous reception through libiec61883.
//
// The stream has a handle of its own, so that its thread shares nothing with AV/C commands. A connection is made by the
// connection management procedures, which give the channel; where the device has no plugs, it broadcasts on channel 63.
// A bus reset gives nodes other numbers, and a connection holds only if it is renewed at once.
#include "platform/dv/DvStream.h"

#include "platform/clock/MonotonicClock.h"

#ifdef VELMORA_HAVE_DV_STREAM
#include <libavc1394/rom1394.h>
#include <libiec61883/iec61883.h>
#include <libraw1394/raw1394.h>

#include <atomic>
#include <optional>
#include <poll.h>
#include <thread>

namespace platform {
namespace {

constexpr nodeid_t kLocalBus = 0xFFC0;
constexpr int kBroadcastChannel = 63;
constexpr int kPollMilliseconds = 50;
constexpr int64_t kSilenceNanoseconds = kNanosecondsPerSecond;

std::optional<nodeid_t> NodeOf(raw1394handle_t handle, uint64_t guid)
{
    for (int node = 0; node < raw1394_get_nodecount(handle); ++node)
        if (rom1394_get_guid(handle, static_cast<nodeid_t>(node)) == guid)
            return static_cast<nodeid_t>(kLocalBus | node);
    return std::nullopt;
}

class FireWireStream : public DvStream {
public:
    FireWireStream(raw1394handle_t opened, uint64_t deviceGuid, nodeid_t deviceNode)
        : handle(opened), guid(deviceGuid), node(deviceNode), generation(raw1394_get_generation(opened))
    {
    }

    ~FireWireStream() override
    {
        FireWireStream::Stop();
        raw1394_destroy_handle(handle);
    }

    Result Start(DvStreamSink& newSink) override
    {
        Stop();
        sink = &newSink;
        int bandwidth = 1;
        const int connected =
            iec61883_cmp_connect(handle, node, &outputPlug, raw1394_get_local_id(handle), &inputPlug, &bandwidth);
        channel = connected < 0 ? kBroadcastChannel : connected;
        allocated = connected < 0 ? 0 : bandwidth;
        receiver = iec61883_dv_fb_init(handle, &FireWireStream::FrameReceived, this);
        if (receiver == nullptr || iec61883_dv_fb_start(receiver, channel) != 0) {
            Disconnect();
            return ioErr;
        }
        running = true;
        lastFrame = MonotonicNow();
        thread = std::thread([this] { Receive(); });
        return noErr;
    }

    void Stop() override
    {
        running = false;
        if (thread.joinable())
            thread.join();
        Disconnect();
    }

private:
    void Receive()
    {
        while (running) {
            pollfd ready{raw1394_get_fd(handle), POLLIN, 0};
            const int events = poll(&ready, 1, kPollMilliseconds);
            if (events > 0 && raw1394_loop_iterate(handle) != 0)
                return sink->DvStreamFailed(ioErr);
            if (raw1394_get_generation(handle) != generation && !RenewConnection())
                return sink->DvStreamFailed(noDeviceForChannel);
            // A deck that stands still sends no frames; a bus without packets at all has lost its device.
            if (MonotonicNow() - lastFrame < kSilenceNanoseconds)
                continue;
            if (!DeviceIsThere())
                return sink->DvStreamFailed(noDeviceForChannel);
            lastFrame = MonotonicNow();
        }
    }

    bool DeviceIsThere() { return NodeOf(handle, guid) == node; }

    bool RenewConnection()
    {
        generation = raw1394_get_generation(handle);
        const auto found = NodeOf(handle, guid);
        if (!found)
            return false;
        node = *found;
        int bandwidth = 1;
        return channel == kBroadcastChannel ||
               iec61883_cmp_reconnect(handle, node, &outputPlug, raw1394_get_local_id(handle), &inputPlug, &bandwidth,
                                      channel) == channel;
    }

    void Disconnect()
    {
        if (receiver != nullptr) {
            iec61883_dv_fb_stop(receiver);
            iec61883_dv_fb_close(receiver);
            receiver = nullptr;
        }
        // After a bus reset another device may have the number.
        if (channel >= 0 && channel != kBroadcastChannel && DeviceIsThere())
            iec61883_cmp_disconnect(handle, node, outputPlug, raw1394_get_local_id(handle), inputPlug,
                                    static_cast<unsigned>(channel), static_cast<unsigned>(allocated));
        channel = -1;
    }

    static int FrameReceived(unsigned char* data, int length, int complete, void* context)
    {
        auto* stream = static_cast<FireWireStream*>(context);
        // The callback comes with the last packet of the frame; its first one came a frame's length before.
        const int64_t now = MonotonicNow();
        const int64_t frameLength = length == 144'000 ? 40'000'000 : 33'366'667;
        stream->lastFrame = now;
        stream->sink->DvFrameArrived({data, static_cast<size_t>(length)}, complete != 0, now - frameLength);
        return 0;
    }

    raw1394handle_t handle;
    const uint64_t guid;
    nodeid_t node;
    unsigned generation;
    DvStreamSink* sink = nullptr;
    iec61883_dv_fb_t receiver = nullptr;
    int outputPlug = -1;
    int inputPlug = -1;
    int channel = -1;
    int allocated = 0;
    std::atomic<bool> running{false};
    int64_t lastFrame = 0;
    std::thread thread;
};

} // namespace

std::unique_ptr<DvStream> OpenFireWireStream(uint64_t guid)
{
    for (int port = 0; port < 16; ++port) {
        const raw1394handle_t handle = raw1394_new_handle_on_port(port);
        if (handle == nullptr)
            return nullptr;
        if (const auto node = NodeOf(handle, guid))
            return std::make_unique<FireWireStream>(handle, guid, *node);
        raw1394_destroy_handle(handle);
    }
    return nullptr;
}

} // namespace platform

#else

std::unique_ptr<platform::DvStream> platform::OpenFireWireStream(uint64_t)
{
    return nullptr;
}

#endif
