// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <libraw1394/raw1394.h>
#include <memory>
#include <optional>
#include <string>

namespace platform {

struct FireWireHandleCloser {
    /// Closes the handle.
    void operator()(raw1394_handle* handle) const { raw1394_destroy_handle(handle); }
};

/// A handle of libraw1394 on one adapter. It reaches the devices that were present when it was opened, until the next
/// bus reset: after that a new handle is needed.
using FireWireHandle = std::unique_ptr<raw1394_handle, FireWireHandleCloser>;

/// Null if the adapter's nodes may not be opened. Adapters are numbered from 0.
FireWireHandle OpenAdapter(int adapter);

/// The number of FireWire adapters; 0 if none can be used.
int CountAdapters();

/// The content of a node's configuration ROM (IEEE 1212).
struct ConfigRom {
    uint64_t guid = 0;
    bool isAvc = false; ///< has a unit that accepts AV/C commands
    std::string label;  ///< vendor and model, UTF-8; may be empty
};

/// Reads a node's ROM; nothing if the node can't be read. From a ROM that is truncated or has bad offsets, returns what
/// was found up to there.
std::optional<ConfigRom> ReadConfigRom(raw1394handle_t handle, nodeid_t node);

/// A register in host byte order; nothing, with `errno` set, if the node does not respond: EAGAIN after a bus reset,
/// ENODEV for a node that has left.
std::optional<uint32_t> ReadRegister(raw1394handle_t handle, nodeid_t node, nodeaddr_t address);

/// A device and the handle that reaches it.
struct ReachedNode {
    FireWireHandle handle;
    uint64_t guid = 0;
    int adapter = 0;
    nodeid_t node = 0; ///< including the number of the local bus
    unsigned generation = 0;
};

/// Looks for a device on all adapters; nothing if it is on none.
std::optional<ReachedNode> ReachNode(uint64_t guid);

} // namespace platform
