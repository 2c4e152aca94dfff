// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dv/FireWireUnits.h"
#include "platform/files/UniqueFD.h"
#include "support/Files.h"
#include "support/SimulatedDeck.h"

#include <libraw1394/raw1394.h>

#include <algorithm>
#include <arpa/inet.h>
#include <bitset>
#include <condition_variable>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <list>
#include <mutex>
#include <sys/eventfd.h>
#include <sys/mman.h>

namespace test {

inline constexpr uint64_t kLocalGuid = 0x0010DC0000000001;
inline constexpr uint32_t kConnections = 0x3F00'0000; // of an output plug, point to point
inline constexpr uint32_t kBroadcast = 0x4000'0000;
inline constexpr int64_t kCycle = 125'000;
inline constexpr int64_t kRenewalTime = 1'000'000'000;
inline constexpr size_t kPacketSize = 488;
inline constexpr size_t kHeaderSize = 8;

/// A device on the simulated bus: its ROM, output plug and tape deck. Everything may be changed under
/// `SimulatedFireWire::Lock`.
struct FireWireNode {
    uint64_t guid = 0;
    std::vector<uint32_t> rom;
    bool mayBeOpened = true; ///< by the user of this program

    uint32_t masterPlug = 0x8000'0001; ///< oMPR (IEC 61883-1): S400, one plug; 0 for none
    uint32_t plug = 0x8000'007A;       ///< oPCR: online, channel 0, S100, 122 quadlets
    bool refusesConnections = false;

    std::vector<uint8_t> subunits{0x20}; ///< types and numbers, returned on inquiry
    SimulatedDeck deck;
    int64_t silentUntil = 0; ///< still starting up: takes commands but answers none
    int64_t answerDelay = 0; ///< nanoseconds; 0: the answer comes during the write
    bool answersTwice = false;
    int writesToFail = 0;               ///< so many commands get lost on the bus
    bool losesAcknowledgements = false; ///< commands arrive, and the writer is told of a failure

    const std::vector<std::vector<uint8_t>>* tape = nullptr; ///< frames sent in a loop; null at a standstill
    bool sendsPackets = true;                                ///< also at a standstill, empty ones
    std::function<bool(uint64_t frame, size_t packet)> loses;

    /// Called in each cycle of the bus, to simulate the device.
    std::function<void(FireWireNode&)> runs;

    /// The bus's own: how far it has sent, and what became of its connection.
    struct {
        size_t slot = 0;     ///< of its plug among the books
        int64_t appears = 0; ///< when its device file does
        int64_t connectedUntil = INT64_MAX;
        int64_t tapeBegan = -1;
        uint64_t frames = 0;
        size_t packet = 0;
        uint8_t blockCount = 0;
    } state{};
};

/// A device with a configuration ROM (IEEE 1212) of one unit: quadlets in host byte order from the bus information
/// block on. `label` is the unit's model, as it comes.
inline FireWireNode MakeNode(uint64_t guid, uint32_t specifier, uint32_t version, const std::string& label)
{
    const auto text = static_cast<uint32_t>((label.size() + 3) / 4);
    FireWireNode node;
    node.guid = guid;
    node.rom = {0x0404'0000, 0x3133'3934, 0x0000'A002, static_cast<uint32_t>(guid >> 32), static_cast<uint32_t>(guid),
                // Root directory: maker, capabilities, its one unit.
                3U << 16, 0x0300'0000 | static_cast<uint32_t>(guid >> 40), 0x0C00'83C0, 0xD100'0001,
                // The unit: specifier, version, model with its label.
                4U << 16, 0x1200'0000 | specifier, 0x1300'0000 | version, 0x1700'0001, 0x8100'0001, (text + 2) << 16, 0,
                0};
    std::vector<char> padded(label.begin(), label.end());
    padded.resize(text * 4);
    for (size_t i = 0; i < padded.size(); i += 4) {
        uint32_t quadlet = 0;
        std::memcpy(&quadlet, &padded[i], 4);
        node.rom.push_back(ntohl(quadlet));
    }
    return node;
}

/// A device that takes AV/C commands.
inline FireWireNode MakeCamcorder(uint64_t guid, const std::string& label = "Camcorder")
{
    return MakeNode(guid, 0x00A02D, 0x010001, label);
}

/// A disk, which has no plugs.
inline FireWireNode MakeDisk(uint64_t guid)
{
    FireWireNode node = MakeNode(guid, 0x00609E, 0x010483, "Disk");
    node.masterPlug = 0;
    return node;
}

/// Makes a transport of a node: it winds for a second, plays its tape of so many frames up to the end, and stops there
/// by itself if wanted.
inline void MakeDeck(FireWireNode& node, const std::vector<std::vector<uint8_t>>& tape, size_t frames,
                     bool stopsByItself)
{
    node.runs = [&tape, frames, stopsByItself, wound = 0](FireWireNode& deck) mutable {
        wound = deck.deck.operand == 0x65 ? wound + 1 : 0;
        if (wound * kCycle > kRenewalTime) {
            deck.deck.operand = 0x60;
            deck.state.frames = 0;
        }
        const bool plays = deck.deck.transport == 0xC3;
        const bool isAtEnd = deck.state.frames >= frames;
        if (plays && !isAtEnd && deck.tape == nullptr)
            deck.state.tapeBegan = -1;
        deck.tape = plays && !isAtEnd ? &tape : nullptr;
        if (plays && isAtEnd && stopsByItself)
            std::tie(deck.deck.transport, deck.deck.operand) = std::pair(uint8_t{0xC4}, uint8_t{0x60});
    };
}

} // namespace test

/// What libraw1394 calls a handle.
struct raw1394_handle {
    struct Opened {
        uint64_t guid;
        int number;
        unsigned generation;
    };
    struct Receiver {
        raw1394_iso_recv_handler_t handler = nullptr;
        size_t interval = 0;
        unsigned char channel = 0;
        bool running = false;
        std::vector<std::vector<uint8_t>> packets;
    };

    void* userData = nullptr;
    platform::UniqueFD readable;
    unsigned generation = 0;
    int localNumber = 0;
    int nodeCount = 0;
    std::vector<Opened> opened;
    fcp_handler_t responseHandler = nullptr;
    bool listens = false;
    Receiver receiver;
    std::deque<std::function<void()>> events; ///< for its loop
    bool isWorking = false;                   ///< on an event
};

namespace test {

inline class SimulatedFireWire* theBus = nullptr;

// Memory that processes made by fork share; where `VELMORA_BUS_BOOKS` names a file, it is that file's content, however
// the process ends.
inline void* MapShared(size_t size)
{
    const char* const name = std::getenv("VELMORA_BUS_BOOKS");
    const platform::UniqueFD file(name == nullptr ? -1 : open(name, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    const bool isFile = file.Get() >= 0 && ftruncate(file.Get(), static_cast<off_t>(size)) == 0;
    return mmap(nullptr, size, PROT_READ | PROT_WRITE, isFile ? MAP_SHARED : MAP_SHARED | MAP_ANONYMOUS,
                isFile ? file.Get() : -1, 0);
}

/// The FireWire bus behind the functions of libraw1394, which this file's program defines itself, so that the libraries
/// above it (librom1394, libiec61883, libdc1394) run as they are. It keeps the rules of libraw1394 on the kernel's
/// present FireWire driver:
/// - a handle opens the nodes that are there and may be opened, and no others later;
/// - the handle and each node in it have a generation of their own, and requests fail with EAGAIN, without running the
///   handle's loop, while these differ or are old;
/// - the loop learns of a reset by one event for each node. That of the local node, which alone changes the handle's
///   generation, never comes where the local node may not be opened; those of the others come late;
/// - the ROM is read from memory, also of a node that has left; other requests to it fail with ENODEV;
/// - received packets wait until there are as many as the receiver's interrupt interval.
/// The bus is on the second adapter of the machine; the first can't be opened.
///
/// A reset gives the nodes other numbers, empties the books of channels and bandwidth, and ends the connections of
/// plugs that are not renewed within a second.
///
/// Time only advances in `Advance`, unless the bus runs in real time. One bus may exist at a time.
class SimulatedFireWire {
public:
    static constexpr int kBandwidth = 4915;
    static constexpr int64_t kStart = 1'000'000'000;

    SimulatedFireWire() : books(new (MapShared(sizeof(Books))) Books)
    {
        theBus = this;
        nodes.push_back(MakeNode(kLocalGuid, 0, 0, "Local"));
        nodes.front().masterPlug = 0;
    }

    ~SimulatedFireWire()
    {
        ticker = {};
        theBus = nullptr;
        munmap(books, sizeof(Books));
    }

    std::unique_lock<std::recursive_mutex> Lock() { return std::unique_lock(mutex); }

    /// Each resets the bus.
    FireWireNode& Plug(FireWireNode node)
    {
        const auto lock = Lock();
        node.state.appears = now + (handles.empty() ? 0 : eventDelay);
        node.state.slot = ++plugged;
        PlugOf(node) = node.plug;
        nodes.push_back(std::move(node));
        Reset();
        return nodes.back();
    }

    void Unplug(uint64_t guid)
    {
        const auto lock = Lock();
        nodes.remove_if([guid](const FireWireNode& node) { return node.guid == guid; });
        Reset();
    }

    void Reset()
    {
        const auto lock = Lock();
        ++books->generation;
        ++rotation;
        books->channels = 0;
        books->bandwidth = 0;
        for (FireWireNode& node : nodes) {
            auto& plug = PlugOf(node);
            if ((plug & kConnections) != 0)
                node.state.connectedUntil = now + kRenewalTime;
            plug &= ~kConnections;
        }
        for (Handle& handle : handles)
            for (const auto& opened : handle.opened)
                Post(handle, opened.guid == kLocalGuid ? 0 : eventDelay,
                     [this, &handle, guid = opened.guid] { NoteReset(handle, guid); });
    }

    FireWireNode* Find(uint64_t guid)
    {
        const auto found = std::ranges::find(nodes, guid, &FireWireNode::guid);
        return found == nodes.end() ? nullptr : &*found;
    }

    /// Advances the time. Waits until the receiver has taken each batch of packets; meanwhile the clock stays at the
    /// time at which the batch was complete.
    void Advance(int64_t nanoseconds)
    {
        auto lock = Lock();
        const int64_t end = now + nanoseconds;
        while (kStart + (cycle + 1) * kCycle <= end) {
            now = kStart + ++cycle * kCycle;
            PostDue();
            SendCycle(lock);
        }
        now = end;
        PostDue();
    }

    void RunInRealTime()
    {
        realTime = true;
        ticker = std::jthread([this](const std::stop_token& stop) {
            const auto began = std::chrono::steady_clock::now();
            const int64_t base = now;
            while (!stop.stop_requested()) {
                Advance(base + (std::chrono::steady_clock::now() - began).count() - now);
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        });
    }

    int64_t Now() const { return now; }
    /// The bus's time, for `SetMonotonicClock`
    static int64_t Clock() { return theBus->now; }

    /// What is taken of channels and bandwidth. Kept in memory that processes made by fork share.
    std::bitset<64> Channels() const { return books->channels.load(); }
    int Bandwidth() const { return books->bandwidth; }
    bool HasEmptyBooks() const { return Channels().none() && Bandwidth() == 0; }
    void TakeBandwidth(int units) { books->bandwidth += units; }
    void TakeChannel(int channel) { books->channels |= uint64_t{1} << channel; }

    /// Open at present
    size_t Handles()
    {
        const auto lock = Lock();
        return handles.size();
    }

    /// Receiving the channel of a plug at present
    size_t Receivers()
    {
        const auto lock = Lock();
        return static_cast<size_t>(std::ranges::count_if(handles, [this](const Handle& handle) {
            return handle.receiver.running && std::ranges::any_of(nodes, [&](const FireWireNode& node) {
                       return node.masterPlug != 0 && (PlugOf(node) >> 16 & 0x3F) == handle.receiver.channel;
                   });
        }));
    }

    /// Time stands still while there are fewer: a receiver that is exchanged misses no packets.
    size_t receiversExpected = 0;

    bool localMayBeOpened = true;
    int64_t eventDelay = 0;

    /// What the functions of libraw1394 work on.
    using Handle = raw1394_handle;
    struct Books {
        std::atomic<uint64_t> channels{0};
        std::atomic<int> bandwidth{0};
        std::atomic<unsigned> generation{1};
        std::atomic<uint32_t> plugs[64]{};
    };

    int NumberOf(const FireWireNode& node) const
    {
        const auto place = std::ranges::find(nodes, node.guid, &FireWireNode::guid);
        return static_cast<int>((static_cast<size_t>(std::distance(nodes.begin(), place)) + rotation) % nodes.size());
    }

    std::atomic<uint32_t>& PlugOf(const FireWireNode& node) const { return books->plugs[node.state.slot]; }
    FireWireNode* Reach(const Handle& handle, int number)
    {
        const auto opened = std::ranges::find(handle.opened, number & 0x3F, &raw1394_handle::Opened::number);
        FireWireNode* const node = opened == handle.opened.end() ? nullptr : Find(opened->guid);
        if (opened == handle.opened.end())
            errno = EREMOTEIO;
        else if (node == nullptr)
            errno = ENODEV;
        else if (opened->generation != handle.generation || handle.generation != books->generation)
            errno = EAGAIN;
        else
            return node;
        return nullptr;
    }

    void Answer(Handle& handle, FireWireNode& node, std::vector<uint8_t> command)
    {
        std::vector<std::vector<uint8_t>> answers;
        if (now < node.silentUntil)
            return;
        if (command[1] == 0xFF && command[2] == 0x31) {
            std::vector<uint8_t> answer{0x0C, 0xFF, 0x31, 0x07, 0xFF, 0xFF, 0xFF, 0xFF};
            std::ranges::copy(node.subunits, answer.begin() + 4);
            answer[0] = node.subunits.empty() ? 0x08 : 0x0C;
            answers.push_back(std::move(answer));
        } else {
            answers = node.deck.Take(std::move(command));
        }
        for (int times = node.answersTwice ? 2 : 1; times > 0; --times)
            for (const auto& answer : answers)
                if (handle.listens)
                    Post(handle, node.answerDelay,
                         [this, &handle, guid = node.guid, answer] { PassAnswer(handle, guid, answer); });
    }

    std::recursive_mutex mutex;
    std::condition_variable_any consumed;
    std::list<FireWireNode> nodes;
    std::list<Handle> handles;
    std::multimap<int64_t, std::pair<Handle*, std::function<void()>>> due;
    Books* books;
    std::atomic<int64_t> now{kStart};

private:
    void Post(Handle& handle, int64_t delay, std::function<void()> event)
    {
        if (delay > 0) {
            due.emplace(now + delay, std::pair(&handle, std::move(event)));
            return;
        }
        handle.events.push_back(std::move(event));
        eventfd_write(handle.readable.Get(), 1);
    }

    void PassAnswer(Handle& handle, uint64_t guid, std::vector<uint8_t> answer)
    {
        const auto opened = std::ranges::find(handle.opened, guid, &raw1394_handle::Opened::guid);
        if (handle.responseHandler != nullptr)
            handle.responseHandler(&handle, static_cast<nodeid_t>(0xFFC0 | opened->number), 1, answer.size(),
                                   answer.data());
    }

    // The handle learns the new number of a node that is still there.
    void NoteReset(Handle& handle, uint64_t guid)
    {
        const auto lock = Lock();
        const FireWireNode* const node = Find(guid);
        if (node == nullptr)
            return;
        const auto opened = std::ranges::find(handle.opened, guid, &raw1394_handle::Opened::guid);
        opened->number = NumberOf(*node);
        opened->generation = books->generation;
        if (guid == kLocalGuid) {
            handle.generation = books->generation;
            handle.localNumber = opened->number;
            handle.nodeCount = static_cast<int>(nodes.size());
        }
    }

    void PostDue()
    {
        while (!due.empty() && due.begin()->first <= now) {
            auto [handle, event] = std::move(due.begin()->second);
            due.erase(due.begin());
            Post(*handle, 0, std::move(event));
        }
    }

    void SendCycle(std::unique_lock<std::recursive_mutex>& lock)
    {
        for (FireWireNode& node : nodes) {
            if (node.runs)
                node.runs(node);
            const uint32_t plug = PlugOf(node);
            const bool connected = (plug & kConnections) != 0 || (plug & kBroadcast) != 0 ||
                                   (node.state.connectedUntil != INT64_MAX && now < node.state.connectedUntil);
            if (node.masterPlug != 0 && connected && node.sendsPackets)
                SendPacket(node, static_cast<int>(plug >> 16 & 0x3F));
        }
        for (Handle& handle : handles) {
            auto& receiver = handle.receiver;
            if (!receiver.running || receiver.packets.size() < receiver.interval)
                continue;
            Post(handle, 0, [&handle, packets = std::exchange(receiver.packets, {})]() mutable {
                for (auto& packet : packets)
                    if (handle.receiver.running)
                        handle.receiver.handler(&handle, packet.data(), static_cast<unsigned>(packet.size()),
                                                handle.receiver.channel, 1, 0, 0, 0);
            });
        }
        if (!realTime)
            consumed.wait(lock, [this] {
                return Receivers() >= receiversExpected && std::ranges::none_of(handles, [](const Handle& one) {
                           return one.receiver.running && (one.isWorking || !one.events.empty());
                       });
            });
    }

    void SendPacket(FireWireNode& node, int channel)
    {
        uint8_t packet[kPacketSize] = {0, 0x78, 0, node.state.blockCount, 0x80, 0, 0xFF, 0xFF};
        size_t length = kHeaderSize;
        if (node.tape != nullptr) {
            const auto& frame = (*node.tape)[node.state.frames % node.tape->size()];
            const bool pal = frame.size() == 144'000;
            const size_t packets = frame.size() / 480;
            const double period = pal ? 40e6 : 1001e6 / 30;
            if (node.state.tapeBegan < 0)
                node.state.tapeBegan = now;
            const double sent = static_cast<double>(node.state.frames) +
                                static_cast<double>(node.state.packet) / static_cast<double>(packets);
            if (static_cast<double>(now - node.state.tapeBegan) >= sent * period) {
                packet[5] = pal ? 0x80 : 0;
                std::memcpy(packet + kHeaderSize, &frame[node.state.packet * 480], 480);
                const bool isLost = node.loses && node.loses(node.state.frames, node.state.packet);
                length = isLost ? 0 : kPacketSize;
                ++node.state.blockCount;
                if (++node.state.packet == packets) {
                    node.state.packet = 0;
                    ++node.state.frames;
                }
            }
        }
        for (Handle& handle : handles) {
            auto& receiver = handle.receiver;
            if (receiver.running && receiver.channel == channel && length > 0)
                receiver.packets.emplace_back(packet, packet + length);
        }
    }

    int64_t cycle = 0;
    bool realTime = false;
    size_t plugged = 0; // nodes, up to now
    unsigned rotation = 0;
    std::jthread ticker;
};

/// A machine with such a bus, and a folder in which it lists the bus's devices.
struct FireWireMachine {
    FireWireMachine()
    {
        folder.Add("fw0", "");
        std::filesystem::create_directories(folder.path / "units");
        platform::SetFireWirePaths({folder.path, folder.path / "units", folder.path});
    }
    ~FireWireMachine() { platform::SetFireWirePaths({}); }

    TemporaryFolder folder;
    SimulatedFireWire bus;
};

} // namespace test
