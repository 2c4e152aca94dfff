// SPDX-License-Identifier: MIT
// Connections to output plugs.
//
// libiec61883's single call for connecting reports success for a plug that refuses, keeps the channel and bandwidth of
// it, and writes to standard error. So its smaller calls are used, and the plug is read back afterwards.
#include "platform/dv/DvConnection.h"

#ifdef VELMORA_HAVE_DV_STREAM
#include "platform/log/Log.h"

#include <cerrno>
#include <libiec61883/iec61883.h>
#include <libraw1394/csr.h>
#include <optional>
#include <utility>

namespace platform {
namespace {

constexpr nodeaddr_t kMasterPlugAddress = CSR_REGISTER_BASE + 0x900;
constexpr nodeaddr_t kPlugAddress = CSR_REGISTER_BASE + 0x904;
constexpr int kBroadcastChannel = 63;
constexpr uint32_t kDvPayload = 122; // quadlets per packet: a header and six blocks

// Fields of the plugs' registers.
int PlugCount(uint32_t master)
{
    return static_cast<int>(master & 0x1F);
}
int SpeedOf(uint32_t master)
{
    return static_cast<int>(master >> 30);
}
bool IsOnline(uint32_t value)
{
    return (value & 0x8000'0000) != 0;
}
bool IsBroadcasting(uint32_t value)
{
    return (value & 0x4000'0000) != 0;
}
bool IsConnected(uint32_t value)
{
    return (value & 0x3F00'0000) != 0;
}
int ChannelOf(uint32_t value)
{
    return static_cast<int>(value >> 16 & 0x3F);
}
uint32_t PayloadOf(uint32_t value)
{
    return value & 0x3FF;
}

std::optional<uint32_t> ReadPlug(raw1394handle_t handle, nodeid_t node, int plug)
{
    return ReadRegister(handle, node, kPlugAddress + 4 * static_cast<nodeaddr_t>(plug));
}

bool IsOfGeneration(const HeldConnection& held, const ReachedNode& source)
{
    return held.plug >= 0 && held.adapter == source.adapter && held.generation == source.generation;
}

void Release(const HeldConnection& held, const ReachedNode& source)
{
    if (IsOfGeneration(held, source))
        iec61883_cmp_disconnect(source.handle.get(), source.node, held.plug, raw1394_get_local_id(source.handle.get()),
                                -1, static_cast<unsigned>(held.channel), static_cast<unsigned>(held.bandwidth));
}

} // namespace

Result DvConnection::Connect(const ReachedNode& source)
{
    if (const auto left = record.Claim(source.guid))
        Release(*left, source);
    held = {.adapter = source.adapter, .generation = source.generation, .channel = held.channel};
    reason.clear();
    const Result result = ConnectFirstPlug(source);
    if (held.plug < 0)
        record.Clear();
    else
        record.Write(held);
    return result;
}

Result DvConnection::ConnectFirstPlug(const ReachedNode& source)
{
    const auto master = ReadRegister(source.handle.get(), source.node, kMasterPlugAddress);
    if (!master && (errno == EAGAIN || errno == ENODEV))
        return Refuse(ioErr, "The camcorder does not answer.");
    // A source without plugs can only broadcast.
    const int plugs = master ? PlugCount(*master) : 0;
    held.channel = plugs == 0 ? kBroadcastChannel : held.channel;
    if (plugs == 0)
        return noErr;
    for (int i = 0; i < plugs; ++i)
        if (const auto value = ReadPlug(source.handle.get(), source.node, i); value && IsOnline(*value)) {
            held.plug = i;
            return ConnectPlug(source, *master, *value);
        }
    return Refuse(noDeviceForChannel, "The camcorder's output is switched off.");
}

Result DvConnection::ConnectPlug(const ReachedNode& source, uint32_t master, uint32_t value)
{
    if (IsConnected(value) && iec61883_cmp_overlay_p2p_output(source.handle.get(), source.node, held.plug) >= 0) {
        held.channel = ChannelOf(value);
        return noErr;
    }
    const Result result = CreatePointToPoint(source, master, value);
    if (result == noErr || !IsBroadcasting(value))
        return result;
    held.plug = -1;
    held.channel = ChannelOf(value);
    reason.clear();
    return noErr;
}

Result DvConnection::CreatePointToPoint(const ReachedNode& source, uint32_t master, uint32_t value)
{
    const raw1394handle_t handle = source.handle.get();
    if (!AllocateChannel(handle, held.channel >= 0 ? held.channel : ChannelOf(value)))
        return Refuse(noDeviceForChannel, "The FireWire bus has no channel left for the camcorder.");
    // Without reserved bandwidth the stream usually gets through all the same.
    const int units = iec61883_cmp_calc_bandwidth(handle, source.node, held.plug, SpeedOf(master));
    if (units > 0 && raw1394_bandwidth_modify(handle, static_cast<unsigned>(units), RAW1394_MODIFY_ALLOC) == 0)
        held.bandwidth = units;
    else
        NoteShortage();
    iec61883_cmp_create_p2p_output(handle, source.node, held.plug, static_cast<unsigned>(held.channel),
                                   static_cast<unsigned>(SpeedOf(master)));
    const auto made = ReadPlug(handle, source.node, held.plug);
    if (made && IsConnected(*made) && ChannelOf(*made) == held.channel)
        return noErr;
    raw1394_channel_modify(handle, static_cast<unsigned>(held.channel), RAW1394_MODIFY_FREE);
    if (held.bandwidth > 0)
        raw1394_bandwidth_modify(handle, static_cast<unsigned>(std::exchange(held.bandwidth, 0)), RAW1394_MODIFY_FREE);
    return made ? Refuse(noDeviceForChannel,
                         "The camcorder refuses the connection. Another program or device may hold it.")
                : Refuse(ioErr, "The camcorder does not answer.");
}

bool DvConnection::AllocateChannel(raw1394handle_t handle, int preferred)
{
    for (int i = -1; i < kBroadcastChannel; ++i) {
        held.channel = i < 0 ? preferred : i;
        if (held.channel < kBroadcastChannel &&
            raw1394_channel_modify(handle, static_cast<unsigned>(held.channel), RAW1394_MODIFY_ALLOC) == 0)
            return true;
    }
    return false;
}

void DvConnection::NoteShortage()
{
    digitizerLog.Warning("FireWire: bandwidth: ", ErrorText(errno));
    reason = "The FireWire bus has no bandwidth left; frames from the camcorder may be damaged.";
}

Result DvConnection::Refuse(Result result, const char* why)
{
    held.plug = -1;
    reason = why;
    digitizerLog.Warning("FireWire: not connected (", result, "): ", reason);
    return result;
}

void DvConnection::Disconnect(uint64_t guid)
{
    if (held.plug < 0)
        return;
    if (const auto source = ReachNode(guid))
        Release(held, *source);
    held.plug = -1;
    record.Clear();
}

bool DvConnection::HoldsAt(const ReachedNode& source) const
{
    return source.adapter == held.adapter && source.generation == held.generation;
}

bool HasDvPlug(raw1394handle_t handle, nodeid_t node)
{
    const auto master = ReadRegister(handle, node, kMasterPlugAddress);
    for (int i = 0; master && i < PlugCount(*master); ++i)
        if (const auto value = ReadPlug(handle, node, i); value && PayloadOf(*value) == kDvPayload)
            return true;
    return false;
}

} // namespace platform

#elif defined VELMORA_HAVE_RAW1394

bool platform::HasDvPlug(raw1394handle_t, nodeid_t)
{
    return false;
}

#endif
