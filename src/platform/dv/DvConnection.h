// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dv/ConnectionRecord.h"
#include "platform/dv/FireWireNode.h"
#include "platform/memory/ResultCodes.h"

#include <string>

namespace platform {

/// A connection to a DV source's output plug (IEC 61883-1), and what it holds of the bus's channels and bandwidth.
///
/// A bus reset ends connections and empties the bus's books; the source sends on for a second, in which `Connect` takes
/// the connection up again with the handle and node of the new generation.
class DvConnection {
public:
    /// Connects, on the channel of the connection before where that is free. A source without plugs, or one that
    /// broadcasts, is only listened to. `ioErr` when the bus was reset meanwhile, `noDeviceForChannel` when the source
    /// can't be connected, with `Reason`. What a process that was killed has left of its connection to the source is
    /// given back first.
    Result Connect(const ReachedNode& source);

    /// Gives channel and bandwidth back, unless a bus reset has ended the connection already.
    void Disconnect(uint64_t guid);

    /// 0 to 63; -1 before the first connection.
    int Channel() const { return held.channel; }

    /// Whether a connection was made there and since then no bus reset has ended it.
    bool HoldsAt(const ReachedNode& source) const;

    /// A sentence for people: why there is no connection, or what is wrong with it. Empty when all is well.
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
