// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/pipewire/PipeWireNode.h"

#include <memory>

namespace platform {

/// The cameras at the PipeWire server. A connection of its own thread keeps the list up to date, from the first call on
/// and for as long as there is a server; a server that went is looked for again at the interval of all devices.
/// Functions may be called from any thread.
class PipeWireNodes {
public:
    static PipeWireNodes& Instance();
    ~PipeWireNodes();

    /// Connects, where that has not been done, without waiting.
    void Prepare();

    /// The cameras. Without a server the list is empty at once; the first answer of one is waited for, but not longer
    /// than `kServerPatience` from `Prepare` on.
    std::vector<PipeWireNode> List();

    /// The node of that name; one without a name when there is none.
    PipeWireNode Find(const std::string& name);

    /// Sets a property of a node. `noDeviceForChannel` when the node has gone, `digiUnimpErr` when it lacks the
    /// property, `paramErr` for a value out of its range.
    Result SetProperty(const std::string& name, uint32_t property, int64_t value);

private:
    PipeWireNodes();
    class Watch;
    std::unique_ptr<Watch> watch;
};

} // namespace platform
