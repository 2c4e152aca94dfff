// SPDX-License-Identifier: MIT
#include "support/SimulatedFireWire.h"

#include <libraw1394/csr.h>

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/mman.h>

namespace {

constexpr uint64_t kLocalGuid = 0x0010DC0000000001;
constexpr uint64_t kRomAddress = CSR_REGISTER_BASE + CSR_CONFIG_ROM;
constexpr uint64_t kMasterPlugAddress = CSR_REGISTER_BASE + 0x900;
constexpr uint64_t kPlugAddress = CSR_REGISTER_BASE + 0x904;
constexpr uint64_t kCommandAddress = CSR_REGISTER_BASE + 0xB00;
constexpr uint32_t kConnections = 0x3F00'0000; // of an output plug, point to point
constexpr uint32_t kBroadcast = 0x4000'0000;
constexpr int64_t kCycle = 125'000;
constexpr int64_t kRenewalTime = 1'000'000'000;
constexpr size_t kPacketSize = 488;
constexpr size_t kHeaderSize = 8;
constexpr int kAdapter = 1;

test::SimulatedFireWire* theBus = nullptr;

// Memory that processes made by fork share; where `VELMORA_BUS_BOOKS` names a file, it is that file's content, however
// the process ends.
void* MapShared(size_t size)
{
    const char* const name = std::getenv("VELMORA_BUS_BOOKS");
    const platform::UniqueFD file(name == nullptr ? -1 : open(name, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    const bool isFile = file.Get() >= 0 && ftruncate(file.Get(), static_cast<off_t>(size)) == 0;
    return mmap(nullptr, size, PROT_READ | PROT_WRITE, isFile ? MAP_SHARED : MAP_SHARED | MAP_ANONYMOUS,
                isFile ? file.Get() : -1, 0);
}

int Fail(int error)
{
    errno = error;
    return -1;
}

} // namespace

namespace test {

FireWireNode MakeNode(uint64_t guid, uint32_t specifier, uint32_t version, const std::string& label)
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

FireWireNode MakeDisk(uint64_t guid)
{
    FireWireNode node = MakeNode(guid, 0x00609E, 0x010483, "Disk");
    node.masterPlug = 0;
    return node;
}

void MakeDeck(FireWireNode& node, const std::vector<std::vector<uint8_t>>& tape, size_t frames, bool stopsByItself)
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

SimulatedFireWire::SimulatedFireWire() : books(new (MapShared(sizeof(Books))) Books)
{
    theBus = this;
    nodes.push_back(MakeNode(kLocalGuid, 0, 0, "Local"));
    nodes.front().masterPlug = 0;
}

SimulatedFireWire::~SimulatedFireWire()
{
    ticker = {};
    theBus = nullptr;
    munmap(books, sizeof(Books));
}

int64_t SimulatedFireWire::Clock()
{
    return theBus->now;
}

FireWireNode& SimulatedFireWire::Plug(FireWireNode node)
{
    const auto lock = Lock();
    node.state.appears = now + (handles.empty() ? 0 : eventDelay);
    node.state.slot = ++plugged;
    PlugOf(node) = node.plug;
    nodes.push_back(std::move(node));
    Reset();
    return nodes.back();
}

void SimulatedFireWire::Unplug(uint64_t guid)
{
    const auto lock = Lock();
    nodes.remove_if([guid](const FireWireNode& node) { return node.guid == guid; });
    Reset();
}

void SimulatedFireWire::Reset()
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

FireWireNode* SimulatedFireWire::Find(uint64_t guid)
{
    const auto found = std::ranges::find(nodes, guid, &FireWireNode::guid);
    return found == nodes.end() ? nullptr : &*found;
}

int SimulatedFireWire::NumberOf(const FireWireNode& node) const
{
    const auto place = std::ranges::find(nodes, node.guid, &FireWireNode::guid);
    return static_cast<int>((static_cast<size_t>(std::distance(nodes.begin(), place)) + rotation) % nodes.size());
}

size_t SimulatedFireWire::Handles()
{
    const auto lock = Lock();
    return handles.size();
}

size_t SimulatedFireWire::Receivers()
{
    const auto lock = Lock();
    return static_cast<size_t>(std::ranges::count_if(handles, [this](const Handle& handle) {
        return handle.receiver.running && std::ranges::any_of(nodes, [&](const FireWireNode& node) {
                   return node.masterPlug != 0 && (PlugOf(node) >> 16 & 0x3F) == handle.receiver.channel;
               });
    }));
}

void SimulatedFireWire::Post(Handle& handle, int64_t delay, std::function<void()> event)
{
    if (delay > 0) {
        due.emplace(now + delay, std::pair(&handle, std::move(event)));
        return;
    }
    handle.events.push_back(std::move(event));
    eventfd_write(handle.readable.Get(), 1);
}

void SimulatedFireWire::PostDue()
{
    while (!due.empty() && due.begin()->first <= now) {
        auto [handle, event] = std::move(due.begin()->second);
        due.erase(due.begin());
        Post(*handle, 0, std::move(event));
    }
}

// The handle learns the new number of a node that is still there.
void SimulatedFireWire::NoteReset(Handle& handle, uint64_t guid)
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

FireWireNode* SimulatedFireWire::Reach(const Handle& handle, int number)
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

void SimulatedFireWire::Answer(Handle& handle, FireWireNode& node, std::vector<uint8_t> command)
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

void SimulatedFireWire::PassAnswer(Handle& handle, uint64_t guid, std::vector<uint8_t> answer)
{
    const auto opened = std::ranges::find(handle.opened, guid, &raw1394_handle::Opened::guid);
    if (handle.responseHandler != nullptr)
        handle.responseHandler(&handle, static_cast<nodeid_t>(0xFFC0 | opened->number), 1, answer.size(),
                               answer.data());
}

void SimulatedFireWire::Advance(int64_t nanoseconds)
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

void SimulatedFireWire::SendCycle(std::unique_lock<std::recursive_mutex>& lock)
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

void SimulatedFireWire::SendPacket(FireWireNode& node, int channel)
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

void SimulatedFireWire::RunInRealTime()
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

} // namespace test

// What this program puts in the place of libraw1394.

namespace {

// As within a request that waits for its answer.
void RunLoop(raw1394_handle& handle, std::unique_lock<std::recursive_mutex>& lock)
{
    while (!handle.events.empty()) {
        lock.unlock();
        raw1394_loop_iterate(&handle);
        lock.lock();
    }
}

} // namespace

extern "C" {

raw1394handle_t raw1394_new_handle()
{
    static raw1394_handle unbound;
    errno = ENODEV;
    return theBus == nullptr ? nullptr : &unbound;
}

raw1394handle_t raw1394_new_handle_on_port(int port)
{
    errno = port < kAdapter ? EACCES : ENODEV;
    if (theBus == nullptr || port != kAdapter)
        return nullptr;
    const auto lock = theBus->Lock();
    raw1394_handle handle;
    handle.generation = theBus->books->generation;
    handle.nodeCount = static_cast<int>(theBus->nodes.size());
    for (const test::FireWireNode& node : theBus->nodes) {
        const int number = theBus->NumberOf(node);
        const bool isLocal = node.guid == kLocalGuid;
        if (isLocal)
            handle.localNumber = number;
        if ((isLocal ? theBus->localMayBeOpened : node.mayBeOpened) && node.state.appears <= theBus->now)
            handle.opened.push_back({node.guid, number, handle.generation});
    }
    if (handle.opened.empty()) {
        errno = EACCES;
        return nullptr;
    }
    handle.readable = platform::UniqueFD(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC | EFD_SEMAPHORE));
    theBus->handles.push_back(std::move(handle));
    return &theBus->handles.back();
}

void raw1394_destroy_handle(raw1394handle_t handle)
{
    if (handle == nullptr || handle->nodeCount == 0)
        return;
    const auto lock = theBus->Lock();
    std::erase_if(theBus->due, [handle](const auto& entry) { return entry.second.first == handle; });
    theBus->handles.remove_if([handle](const raw1394_handle& one) { return &one == handle; });
    theBus->consumed.notify_all();
}

int raw1394_get_port_info(raw1394handle_t, raw1394_portinfo* ports, int most)
{
    for (int i = 0; i < std::min(most, kAdapter + 1); ++i)
        ports[i] = {2, "simulated"};
    return kAdapter + 1;
}

int raw1394_get_fd(raw1394handle_t handle)
{
    return handle->readable.Get();
}

void raw1394_set_userdata(raw1394handle_t handle, void* data)
{
    handle->userData = data;
}

void* raw1394_get_userdata(raw1394handle_t handle)
{
    return handle->userData;
}

int raw1394_get_nodecount(raw1394handle_t handle)
{
    return handle->nodeCount;
}

unsigned raw1394_get_generation(raw1394handle_t handle)
{
    return handle->generation;
}

nodeid_t raw1394_get_local_id(raw1394handle_t handle)
{
    return static_cast<nodeid_t>(0xFFC0 | handle->localNumber);
}

nodeid_t raw1394_get_irm_id(raw1394handle_t handle)
{
    return static_cast<nodeid_t>(0xFFC0 | (handle->nodeCount - 1));
}

int raw1394_read(raw1394handle_t handle, nodeid_t number, nodeaddr_t address, size_t length, quadlet_t* data)
{
    auto lock = theBus->Lock();
    if (address >= kRomAddress && address < kRomAddress + CSR_CONFIG_ROM_END - CSR_CONFIG_ROM) {
        const auto opened = std::ranges::find(handle->opened, number & 0x3F, &raw1394_handle::Opened::number);
        const auto* node = opened == handle->opened.end() ? nullptr : theBus->Find(opened->guid);
        const size_t first = (address - kRomAddress) / 4;
        if (node == nullptr || first + length / 4 > node->rom.size())
            return Fail(node == nullptr ? EREMOTEIO : EINVAL);
        const auto quadlets = std::span(node->rom).subspan(first, length / 4);
        std::ranges::transform(quadlets, data, htonl);
        return 0;
    }
    const auto* node = theBus->Reach(*handle, number);
    if (node == nullptr)
        return -1;
    RunLoop(*handle, lock);
    if (length != 4 || node->masterPlug == 0 || (address != kMasterPlugAddress && address != kPlugAddress))
        return Fail(EREMOTEIO);
    *data = htonl(address == kMasterPlugAddress ? node->masterPlug : theBus->PlugOf(*node).load());
    return 0;
}

int raw1394_write(raw1394handle_t handle, nodeid_t number, nodeaddr_t address, size_t length, quadlet_t* data)
{
    auto lock = theBus->Lock();
    auto* const node = theBus->Reach(*handle, number);
    if (node == nullptr)
        return -1;
    if (address != kCommandAddress || length > 512 || node->writesToFail > 0) {
        node->writesToFail -= node->writesToFail > 0 ? 1 : 0;
        return Fail(EREMOTEIO);
    }
    const auto* bytes = reinterpret_cast<const uint8_t*>(data);
    theBus->Answer(*handle, *node, {bytes, bytes + length});
    if (node->losesAcknowledgements)
        return Fail(EAGAIN);
    RunLoop(*handle, lock);
    return 0;
}

int raw1394_lock(raw1394handle_t handle, nodeid_t number, nodeaddr_t address, unsigned code, quadlet_t data,
                 quadlet_t expected, quadlet_t* found)
{
    const auto lock = theBus->Lock();
    auto* const node = theBus->Reach(*handle, number);
    if (node == nullptr)
        return -1;
    if (code != RAW1394_EXTCODE_COMPARE_SWAP || address != kPlugAddress || node->masterPlug == 0)
        return Fail(EREMOTEIO);
    auto& plug = theBus->PlugOf(*node);
    *found = htonl(plug);
    if (!node->refusesConnections && *found == expected) {
        plug = ntohl(data);
        node->state.connectedUntil = INT64_MAX;
    }
    return 0;
}

int raw1394_bandwidth_modify(raw1394handle_t, unsigned units, raw1394_modify_mode mode)
{
    const auto lock = theBus->Lock();
    const int change = mode == RAW1394_MODIFY_ALLOC ? static_cast<int>(units) : -static_cast<int>(units);
    if (theBus->books->bandwidth + change > test::SimulatedFireWire::kBandwidth)
        return Fail(EBUSY);
    theBus->books->bandwidth += change;
    return 0;
}

int raw1394_channel_modify(raw1394handle_t, unsigned channel, raw1394_modify_mode mode)
{
    const auto lock = theBus->Lock();
    const uint64_t bit = uint64_t{1} << channel;
    if (channel > 63 || ((theBus->books->channels & bit) != 0) == (mode == RAW1394_MODIFY_ALLOC))
        return Fail(EBUSY);
    theBus->books->channels ^= bit;
    return 0;
}

int raw1394_loop_iterate(raw1394handle_t handle)
{
    pollfd ready{handle->readable.Get(), POLLIN, 0};
    poll(&ready, 1, -1);
    auto lock = theBus->Lock();
    if (handle->events.empty())
        return 0;
    eventfd_t one = 0;
    eventfd_read(handle->readable.Get(), &one);
    auto event = std::move(handle->events.front());
    handle->events.pop_front();
    handle->isWorking = true;
    lock.unlock();
    event();
    lock.lock();
    handle->isWorking = false;
    theBus->consumed.notify_all();
    return 0;
}

fcp_handler_t raw1394_set_fcp_handler(raw1394handle_t handle, fcp_handler_t handler)
{
    return std::exchange(handle->responseHandler, handler);
}

int raw1394_start_fcp_listen(raw1394handle_t handle)
{
    handle->listens = true;
    return 0;
}

int raw1394_stop_fcp_listen(raw1394handle_t handle)
{
    handle->listens = false;
    return 0;
}

int raw1394_iso_recv_init(raw1394handle_t handle, raw1394_iso_recv_handler_t handler, unsigned packets, unsigned,
                          unsigned char channel, raw1394_iso_dma_recv_mode, int interval)
{
    const auto lock = theBus->Lock();
    const size_t most = packets / 2;
    handle->receiver = {handler, interval > 0 ? static_cast<size_t>(interval) : most, channel, false, {}};
    return 0;
}

int raw1394_iso_recv_start(raw1394handle_t handle, int, int, int)
{
    const auto lock = theBus->Lock();
    handle->receiver.running = true;
    theBus->consumed.notify_all();
    return 0;
}

int raw1394_iso_recv_flush(raw1394handle_t)
{
    return 0;
}

void raw1394_iso_stop(raw1394handle_t handle)
{
    const auto lock = theBus->Lock();
    handle->receiver.running = false;
}

void raw1394_iso_shutdown(raw1394handle_t handle)
{
    raw1394_iso_stop(handle);
}

} // extern "C"
