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

/// A handle of libraw1394 on one adapter. It reaches the devices that were there when it was opened, up to the next
/// reset of the bus: to reach a device after that, another one is opened.
using FireWireHandle = std::unique_ptr<raw1394_handle, FireWireHandleCloser>;

/// Null where the adapter's nodes may not be opened. Adapters are counted from 0.
FireWireHandle OpenAdapter(int adapter);

/// The number of FireWire adapters; 0 where none may be used.
int CountAdapters();

/// What a node's configuration ROM (IEEE 1212) says of it.
struct ConfigRom {
    uint64_t guid = 0;
    bool isAvc = false; ///< has a unit that takes AV/C commands
    std::string label;  ///< of maker and model, UTF-8; may be empty
};

/// Reads a node's ROM; nothing for a node that can't be read. A ROM that is cut short or has bad offsets gives what was
/// found up to there.
std::optional<ConfigRom> ReadConfigRom(raw1394handle_t handle, nodeid_t node);

/// A register in host byte order; nothing, with `errno` set, when the node does not answer: EAGAIN after a reset of the
/// bus, ENODEV for a node that has left.
std::optional<uint32_t> ReadRegister(raw1394handle_t handle, nodeid_t node, nodeaddr_t address);

/// A device as a handle reaches it.
struct ReachedNode {
    FireWireHandle handle;
    uint64_t guid = 0;
    int adapter = 0;
    nodeid_t node = 0; ///< with the number of the local bus
    unsigned generation = 0;
};

/// Looks for a device on all adapters; nothing when it is on none.
std::optional<ReachedNode> ReachNode(uint64_t guid);

} // namespace platform
