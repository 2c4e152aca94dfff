// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dv/FireWireUnits.h"
#include "platform/files/UniqueFD.h"
#include "support/Files.h"
#include "support/SimulatedDeck.h"

#include <libraw1394/raw1394.h>

#include <atomic>
#include <bitset>
#include <condition_variable>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <thread>

namespace test {

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
FireWireNode MakeNode(uint64_t guid, uint32_t specifier, uint32_t version, const std::string& label);

/// A device that takes AV/C commands.
inline FireWireNode MakeCamcorder(uint64_t guid, const std::string& label = "Camcorder")
{
    return MakeNode(guid, 0x00A02D, 0x010001, label);
}

/// A disk, which has no plugs.
FireWireNode MakeDisk(uint64_t guid);

/// Makes a transport of a node: it winds for a second, plays its tape of so many frames up to the end, and stops there
/// by itself if wanted.
void MakeDeck(FireWireNode& node, const std::vector<std::vector<uint8_t>>& tape, size_t frames, bool stopsByItself);

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

    SimulatedFireWire();
    ~SimulatedFireWire();

    std::unique_lock<std::recursive_mutex> Lock() { return std::unique_lock(mutex); }

    /// Each resets the bus.
    FireWireNode& Plug(FireWireNode node);
    void Unplug(uint64_t guid);
    void Reset();

    FireWireNode* Find(uint64_t guid);

    /// Advances the time. Waits until the receiver has taken each batch of packets; meanwhile the clock stays at the
    /// time at which the batch was complete.
    void Advance(int64_t nanoseconds);
    void RunInRealTime();

    int64_t Now() const { return now; }
    static int64_t Clock(); ///< the bus's time, for `SetMonotonicClock`

    /// What is taken of channels and bandwidth. Kept in memory that processes made by fork share.
    std::bitset<64> Channels() const { return books->channels.load(); }
    int Bandwidth() const { return books->bandwidth; }
    bool HasEmptyBooks() const { return Channels().none() && Bandwidth() == 0; }
    void TakeBandwidth(int units) { books->bandwidth += units; }
    void TakeChannel(int channel) { books->channels |= uint64_t{1} << channel; }

    size_t Handles();   ///< open at present
    size_t Receivers(); ///< receiving the channel of a plug at present

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

    int NumberOf(const FireWireNode& node) const;
    std::atomic<uint32_t>& PlugOf(const FireWireNode& node) const { return books->plugs[node.state.slot]; }
    FireWireNode* Reach(const Handle& handle, int number);
    void Answer(Handle& handle, FireWireNode& node, std::vector<uint8_t> command);

    std::recursive_mutex mutex;
    std::condition_variable_any consumed;
    std::list<FireWireNode> nodes;
    std::list<Handle> handles;
    std::multimap<int64_t, std::pair<Handle*, std::function<void()>>> due;
    Books* books;
    std::atomic<int64_t> now{kStart};

private:
    void Post(Handle& handle, int64_t delay, std::function<void()> event);
    void PassAnswer(Handle& handle, uint64_t guid, std::vector<uint8_t> answer);
    void NoteReset(Handle& handle, uint64_t guid);
    void PostDue();
    void SendCycle(std::unique_lock<std::recursive_mutex>& lock);
    void SendPacket(FireWireNode& node, int channel);

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
