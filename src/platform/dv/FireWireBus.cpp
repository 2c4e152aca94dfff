// The machine's FireWire bus.
//
// One handle of libraw1394 for each adapter. A device is a node whose configuration ROM says AV/C and that has told us
// of a tape subunit; it is known by its GUID, since node numbers change with every bus reset. Responses come through
// the library's callback while this file polls its descriptor, so nothing runs between two calls of ours.
//
// Asking for subunits takes a node that doesn't answer half a second, and lists are made often. So what a node said is
// kept: for good where it has a tape, until the next bus reset where it hasn't or is silent.
#include "platform/dv/Bus.h"

#ifdef VELMORA_HAVE_AVC
#include "platform/dv/AvcTransaction.h"

#include <libavc1394/rom1394.h>
#include <libraw1394/raw1394.h>

#include <algorithm>
#include <deque>
#include <filesystem>
#include <iterator>
#include <map>
#include <poll.h>

namespace platform {
namespace {

constexpr nodeaddr_t kFcpCommandAddress = 0xFFFFF0000B00; // IEC 61883-1
constexpr nodeid_t kLocalBus = 0xFFC0;

struct HandleCloser {
    void operator()(raw1394_handle* handle) const
    {
        raw1394_stop_fcp_listen(handle);
        raw1394_destroy_handle(handle);
    }
};

class Adapter {
public:
    explicit Adapter(raw1394handle_t opened) : handle(opened)
    {
        raw1394_set_userdata(opened, this);
        raw1394_set_fcp_handler(opened, &Adapter::FrameReceived);
        raw1394_start_fcp_listen(opened);
    }

    /// The nodes whose ROM says AV/C.
    std::vector<BusDevice> Candidates() const
    {
        std::vector<BusDevice> devices;
        for (int node = 0; node < raw1394_get_nodecount(handle.get()); ++node)
            if (auto device = CandidateAt(static_cast<nodeid_t>(node)))
                devices.push_back(std::move(*device));
        return devices;
    }

    /// Changes with every bus reset.
    unsigned Generation() const { return raw1394_get_generation(handle.get()); }

    std::optional<nodeid_t> NodeOf(uint64_t guid) const
    {
        for (int node = 0; node < raw1394_get_nodecount(handle.get()); ++node)
            if (rom1394_get_guid(handle.get(), static_cast<nodeid_t>(node)) == guid)
                return static_cast<nodeid_t>(node);
        return std::nullopt;
    }

    Result Send(nodeid_t node, std::span<const uint8_t> frame)
    {
        responses.clear();
        sender = static_cast<nodeid_t>(kLocalBus | node);
        // Frames are quadlets on the wire.
        std::vector<quadlet_t> quadlets((frame.size() + 3) / 4);
        std::copy(frame.begin(), frame.end(), reinterpret_cast<uint8_t*>(quadlets.data()));
        const int written =
            raw1394_write(handle.get(), sender, kFcpCommandAddress, quadlets.size() * 4, quadlets.data());
        return written < 0 ? ioErr : noErr;
    }

    std::optional<std::vector<uint8_t>> Next(std::chrono::milliseconds wait)
    {
        const auto until = std::chrono::steady_clock::now() + wait;
        while (responses.empty()) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - std::chrono::steady_clock::now());
            pollfd ready{raw1394_get_fd(handle.get()), POLLIN, 0};
            if (left.count() <= 0 || poll(&ready, 1, static_cast<int>(left.count())) <= 0)
                return std::nullopt;
            raw1394_loop_iterate(handle.get());
        }
        auto frame = std::move(responses.front());
        responses.pop_front();
        return frame;
    }

private:
    std::optional<BusDevice> CandidateAt(nodeid_t node) const
    {
        rom1394_directory directory{};
        if (rom1394_get_directory(handle.get(), node, &directory) < 0)
            return std::nullopt;
        const bool isAvc = rom1394_get_node_type(&directory) == ROM1394_NODE_TYPE_AVC;
        BusDevice device{rom1394_get_guid(handle.get(), node), directory.label ? directory.label : "DV camcorder"};
        rom1394_free_directory(&directory);
        return isAvc ? std::optional(device) : std::nullopt;
    }

    static int FrameReceived(raw1394handle_t handle, nodeid_t node, int isResponse, size_t length, unsigned char* data)
    {
        auto* adapter = static_cast<Adapter*>(raw1394_get_userdata(handle));
        if (isResponse != 0 && node == adapter->sender && length <= 512)
            adapter->responses.emplace_back(data, data + length);
        return 0;
    }

    std::unique_ptr<raw1394_handle, HandleCloser> handle;
    std::deque<std::vector<uint8_t>> responses;
    nodeid_t sender = 0;
};

class FireWireBus : public Bus {
public:
    explicit FireWireBus(std::vector<std::unique_ptr<Adapter>> opened) : adapters(std::move(opened)) {}

    std::vector<BusDevice> Devices() override
    {
        std::vector<BusDevice> all;
        for (const auto& adapter : adapters)
            for (BusDevice& candidate : adapter->Candidates())
                if (HasTape(candidate.guid, adapter->Generation()))
                    all.push_back(std::move(candidate));
        return all;
    }

    Result SendCommand(uint64_t guid, std::span<const uint8_t> frame) override
    {
        for (const auto& adapter : adapters)
            if (const auto node = adapter->NodeOf(guid))
                return adapter->Send(*node, frame);
        return ioErr;
    }

    std::optional<std::vector<uint8_t>> NextResponse(uint64_t guid, std::chrono::milliseconds wait) override
    {
        for (const auto& adapter : adapters)
            if (adapter->NodeOf(guid))
                return adapter->Next(wait);
        return std::nullopt;
    }

    std::unique_ptr<DvStream> OpenStream(uint64_t guid) override { return OpenFireWireStream(guid); }

private:
    struct Answer {
        bool hasTape = false;
        unsigned generation = 0;
    };

    bool HasTape(uint64_t guid, unsigned generation)
    {
        static std::map<uint64_t, Answer> answers;
        const auto known = answers.find(guid);
        const bool holds = known != answers.end() && (known->second.hasTape || known->second.generation == generation);
        if (!holds)
            answers[guid] = {AskForTape(guid), generation};
        return answers[guid].hasTape;
    }

    // SUBUNIT INFO, page 0: an entry has the subunit's type in its upper five bits.
    bool AskForTape(uint64_t guid)
    {
        constexpr uint8_t kInquiry[] = {0x01, 0xFF, 0x31, 0x07, 0xFF, 0xFF, 0xFF, 0xFF};
        constexpr uint8_t kTape = 4;
        std::vector<uint8_t> answer;
        if (DoAvcTransaction(*this, guid, kInquiry, answer) != noErr || answer.size() < std::size(kInquiry) ||
            static_cast<AvcResponse>(answer[0] & 0x0F) != AvcResponse::Stable)
            return false;
        return std::any_of(answer.begin() + 4, answer.begin() + 8, [](uint8_t entry) { return entry >> 3 == kTape; });
    }

    std::vector<std::unique_ptr<Adapter>> adapters;
};

// Asking the library costs milliseconds even where there is nothing, and lists of devices are made at every start.
bool AdapterIsThere()
{
    std::error_code ignored;
    return std::ranges::any_of(std::filesystem::directory_iterator("/dev", ignored),
                               [](const auto& entry) { return entry.path().filename().string().starts_with("fw"); });
}

} // namespace

std::shared_ptr<Bus> OpenFireWireBus()
{
    if (!AdapterIsThere())
        return nullptr;
    const raw1394handle_t probe = raw1394_new_handle();
    if (probe == nullptr)
        return nullptr;
    raw1394_portinfo ports[16];
    const int count = raw1394_get_port_info(probe, ports, 16);
    raw1394_destroy_handle(probe);
    std::vector<std::unique_ptr<Adapter>> adapters;
    for (int port = 0; port < std::min(count, 16); ++port)
        if (const raw1394handle_t handle = raw1394_new_handle_on_port(port))
            adapters.push_back(std::make_unique<Adapter>(handle));
    return adapters.empty() ? nullptr : std::make_shared<FireWireBus>(std::move(adapters));
}

} // namespace platform

#else

std::shared_ptr<platform::Bus> platform::OpenFireWireBus()
{
    return nullptr;
}

#endif
