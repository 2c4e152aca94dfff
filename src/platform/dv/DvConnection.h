// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dv/ConnectionRecord.h"
#include "platform/dv/FireWireNode.h"
#include "platform/memory/ResultCodes.h"

#include <string>

namespace platform {

/// A connection to a DV source's output plug (IEC 61883-1), with the channel and bandwidth that it holds.
///
/// A bus reset ends connections and releases all channels and bandwidth. The source continues to send for a second, in
/// which `Connect` restores the connection with the handle and node of the new generation.
class DvConnection {
public:
    /// Connects, on the channel of the previous connection if that is free. A source without plugs, or one that
    /// broadcasts, is only listened to. Returns `ioErr` if the bus was reset meanwhile, `noDeviceForChannel`, with
    /// `Reason`, if the source can't be connected. First releases what a killed process has left of its connection to
    /// the source.
    Result Connect(const ReachedNode& source);

    /// Releases channel and bandwidth, unless a bus reset has done so already.
    void Disconnect(uint64_t guid);

    /// 0 to 63; -1 before the first connection.
    int Channel() const { return held.channel; }

    /// Whether a connection was made that no bus reset has ended since.
    bool HoldsAt(const ReachedNode& source) const;

    /// Why there is no connection, or what is wrong with it: a sentence for the user. Empty if all is well.
    const std::string& Reason() const { return reason; }

private:
    Result ConnectFirstPlug(const ReachedNode& source);
    Result ConnectPlug(const ReachedNode& source, uint32_t master, uint32_t value);
    Result CreatePointToPoint(const ReachedNode& source, uint32_t master, uint32_t value);
    bool AllocateChannel(raw1394handle_t handle, int preferred);
    Result Refuse(Result result, const char* why);
    void NoteShortage();

    HeldConnection held; ///< its plug is -1 for a source that is only listened to
    ConnectionRecord record;
    std::string reason;
};

/// Whether the node has an output plug for DV at 25 Mbit/s.
bool HasDvPlug(raw1394handle_t handle, nodeid_t node);

} // namespace platform
