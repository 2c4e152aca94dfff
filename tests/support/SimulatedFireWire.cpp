// SPDX-License-Identifier: MIT
#include "support/SimulatedFireWire.h"

#include <libraw1394/csr.h>

#include <cerrno>
#include <poll.h>

using test::theBus, test::kLocalGuid;

namespace {

constexpr uint64_t kRomAddress = CSR_REGISTER_BASE + CSR_CONFIG_ROM;
constexpr uint64_t kMasterPlugAddress = CSR_REGISTER_BASE + 0x900;
constexpr uint64_t kPlugAddress = CSR_REGISTER_BASE + 0x904;
constexpr uint64_t kCommandAddress = CSR_REGISTER_BASE + 0xB00;
constexpr int kAdapter = 1;

int Fail(int error)
{
    errno = error;
    return -1;
}

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

// What this program puts in the place of libraw1394.

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
