// SPDX-License-Identifier: MIT
// The machine's FireWire bus.
//
// A device is a node whose configuration ROM has an AV/C unit and that sends DV: it reports a tape recorder, or has a
// plug for DV. It is identified by its GUID, since node numbers change with every bus reset. Each command uses its own
// handle, because a handle that has missed a reset reaches nothing. Responses arrive through the library's callback
// while this file polls the handle's descriptor, so nothing runs between two calls of ours.
//
// Asking a node that does not respond takes half a second, and the main thread requests the list often. So nodes are
// asked on a separate thread, and the answer is cached: for good if the node sends DV, until the next bus reset if not.
// A silent node may still be starting up: it is asked again for each list, at most once a second, but a list only waits
// for the first inquiry.
#include "platform/dv/Bus.h"

#ifdef VELMORA_HAVE_RAW1394
#include "platform/clock/MonotonicClock.h"
#include "platform/dv/AvcTransaction.h"
#include "platform/dv/DvConnection.h"
#include "platform/dv/FireWireNode.h"
#include "platform/dv/FireWireUnits.h"
#include "platform/log/Log.h"
#include "platform/threads/ControlThread.h"

#include <algorithm>
#include <cerrno>
#include <deque>
#include <iterator>
#include <map>
#include <mutex>
#include <poll.h>

namespace platform {
namespace {

constexpr nodeaddr_t kFcpCommandAddress = 0xFFFFF0000B00; // IEC 61883-1
constexpr size_t kMaxFrame = 512;
constexpr int64_t kAskAgain = kNanosecondsPerSecond;
constexpr std::chrono::milliseconds kAskWait{200};

// One command and the responses of the device since then.
class Conversation {
public:
    Conversation(uint64_t deviceGuid, ReachedNode node) : guid(deviceGuid), reached(std::move(node))
    {
        raw1394_set_userdata(reached.handle.get(), this);
        raw1394_set_fcp_handler(reached.handle.get(), &Conversation::FrameReceived);
        raw1394_start_fcp_listen(reached.handle.get());
    }
    Conversation(const Conversation&) = delete;
    Conversation& operator=(const Conversation&) = delete;
    ~Conversation() { raw1394_stop_fcp_listen(reached.handle.get()); }

    uint64_t Guid() const { return guid; }

    Result Send(std::span<const uint8_t> frame)
    {
        // Frames are padded to quadlets on the wire.
        std::vector<quadlet_t> quadlets((frame.size() + 3) / 4);
        std::copy(frame.begin(), frame.end(), reinterpret_cast<uint8_t*>(quadlets.data()));
        if (raw1394_write(reached.handle.get(), reached.node, kFcpCommandAddress, quadlets.size() * 4,
                          quadlets.data()) >= 0)
            return noErr;
        const int error = errno;
        digitizerLog.Warning("FireWire: AV/C command to ", GuidText(guid), ": ", ErrorText(error));
        // The device rejected the write or was busy, or a bus reset came first. A write that was only not acknowledged
        // may have been carried out.
        return error != EAGAIN || WasReset() ? ioErr : noErr;
    }

    std::optional<std::vector<uint8_t>> Next(std::chrono::milliseconds wait)
    {
        const auto until = std::chrono::steady_clock::now() + wait;
        while (responses.empty()) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - std::chrono::steady_clock::now());
            pollfd ready{raw1394_get_fd(reached.handle.get()), POLLIN, 0};
            if (left.count() <= 0 || poll(&ready, 1, static_cast<int>(left.count())) <= 0 ||
                raw1394_loop_iterate(reached.handle.get()) < 0)
                return std::nullopt;
        }
        auto frame = std::move(responses.front());
        responses.pop_front();
        return frame;
    }

private:
    bool WasReset() const
    {
        const FireWireHandle present = OpenAdapter(reached.adapter);
        return !present || raw1394_get_generation(present.get()) != reached.generation;
    }

    static int FrameReceived(raw1394handle_t handle, nodeid_t node, int isResponse, size_t length, unsigned char* data)
    {
        auto* conversation = static_cast<Conversation*>(raw1394_get_userdata(handle));
        if (isResponse != 0 && node == conversation->reached.node && length <= kMaxFrame)
            conversation->responses.emplace_back(data, data + length);
        return 0;
    }

    const uint64_t guid;
    const ReachedNode reached;
    std::deque<std::vector<uint8_t>> responses;
};

// The answers of nodes, for all buses that were opened.
class KnownNodes {
public:
    enum class Answer { SendsDv, SendsNone, Silent };

    static KnownNodes& Instance()
    {
        static auto* known = new KnownNodes; // a node may be asked at the end of the process
        return *known;
    }

    bool SendsDv(uint64_t guid, unsigned generation, Answer (*ask)(uint64_t guid))
    {
        std::unique_lock lock(mutex);
        const bool isNew = !entries.contains(guid);
        Entry& entry = entries[guid];
        if (isNew || (!entry.isAsked && !Holds(entry, generation))) {
            entry.isAsked = true;
            entry.generation = generation;
            lock.unlock();
            asking.Run([this, guid, ask] { Note(guid, ask(guid)); }, isNew ? kAskWait : kAskWait * 0);
            lock.lock();
        }
        return entries[guid].answer == Answer::SendsDv;
    }

private:
    struct Entry {
        Answer answer = Answer::Silent;
        unsigned generation = 0;
        int64_t asked = 0;
        bool isAsked = false; ///< being asked at present
    };

    void Note(uint64_t guid, Answer answer)
    {
        const std::lock_guard lock(mutex);
        Entry& entry = entries[guid];
        entry.answer = answer;
        entry.asked = MonotonicNow();
        entry.isAsked = false;
    }

    static bool Holds(const Entry& entry, unsigned generation)
    {
        if (entry.answer == Answer::SendsDv)
            return true;
        return entry.generation == generation &&
               (entry.answer == Answer::SendsNone || MonotonicNow() < entry.asked + kAskAgain);
    }

    std::mutex mutex;
    std::map<uint64_t, Entry> entries;
    ControlThread asking;
};

class FireWireBus : public Bus {
public:
    std::vector<BusDevice> Devices() override
    {
        std::vector<BusDevice> devices;
        const int adapters = CountAdapters();
        for (int adapter = 0; adapter < adapters; ++adapter)
            if (const FireWireHandle handle = OpenAdapter(adapter))
                AddDevices(handle.get(), devices);
        for (const FireWireUnit& unit : ListFireWireUnits())
            if (unit.IsAvc() && !unit.mayBeOpened)
                devices.push_back({unit.guid, unit.name.empty() ? kNameless : unit.name, unit.Reason()});
        return devices;
    }

    Result SendCommand(uint64_t guid, std::span<const uint8_t> frame) override
    {
        conversation.reset();
        auto reached = ReachNode(guid);
        if (!reached)
            return ioErr;
        conversation = std::make_unique<Conversation>(guid, std::move(*reached));
        return conversation->Send(frame);
    }

    std::optional<std::vector<uint8_t>> NextResponse(uint64_t guid, std::chrono::milliseconds wait) override
    {
        return conversation && conversation->Guid() == guid ? conversation->Next(wait) : std::nullopt;
    }

    std::unique_ptr<DvStream> OpenStream(uint64_t guid) override { return OpenFireWireStream(guid); }

private:
    static constexpr const char* kNameless = "DV camcorder";

    static void AddDevices(raw1394handle_t handle, std::vector<BusDevice>& devices)
    {
        for (int number = 0; number < raw1394_get_nodecount(handle); ++number) {
            const auto node = static_cast<nodeid_t>(number);
            const auto rom = ReadConfigRom(handle, node);
            if (rom && rom->isAvc &&
                KnownNodes::Instance().SendsDv(rom->guid, raw1394_get_generation(handle), AskForDv))
                devices.push_back({rom->guid, rom->label.empty() ? kNameless : rom->label, {}});
        }
    }

    // A plug is detected at once; SUBUNIT INFO, page 0, reports a tape: an entry has the subunit type in its upper five
    // bits.
    static KnownNodes::Answer AskForDv(uint64_t guid)
    {
        using enum KnownNodes::Answer;
        constexpr uint8_t kInquiry[] = {0x01, 0xFF, 0x31, 0x07, 0xFF, 0xFF, 0xFF, 0xFF};
        constexpr uint8_t kTape = 4;
        const auto source = ReachNode(guid);
        if (source && HasDvPlug(source->handle.get(), source->node))
            return SendsDv;
        FireWireBus asking;
        std::vector<uint8_t> answer;
        if (DoAvcTransaction(asking, guid, kInquiry, answer) != noErr)
            return Silent;
        const bool isStable = static_cast<AvcResponse>(answer[0] & 0x0F) == AvcResponse::Stable;
        const bool hasTape =
            isStable && answer.size() >= std::size(kInquiry) &&
            std::any_of(answer.begin() + 4, answer.begin() + 8, [](uint8_t entry) { return entry >> 3 == kTape; });
        return hasTape ? SendsDv : SendsNone;
    }

    std::unique_ptr<Conversation> conversation;
};

} // namespace

std::shared_ptr<Bus> OpenFireWireBus()
{
    return HasFireWire() ? std::make_shared<FireWireBus>() : nullptr;
}

} // namespace platform

#else

std::shared_ptr<platform::Bus> platform::OpenFireWireBus()
{
    return nullptr;
}

#endif
