// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/pipewire/PipeWireNode.h"

#include <memory>

namespace platform {

/// The cameras at the PipeWire server. A connection on its own thread keeps the list up to date from the first call on;
/// if the server is away it is looked for at the interval of all devices. Any thread may call these functions.
class PipeWireNodes {
public:
    /// The one object, created at the first call.
    static PipeWireNodes& Instance();
    ~PipeWireNodes();

    /// Connects, unless that was done before, without waiting.
    void Prepare();

    /// The cameras. Without a server the list is empty at once; otherwise waits for the first answer until
    /// `kServerPatience` after `Prepare`.
    std::vector<PipeWireNode> List();

    /// The node of that name; if there is none, one without a name.
    PipeWireNode Find(const std::string& name);

    /// Sets a property of a node. Returns `noDeviceForChannel` if the node is gone, `digiUnimpErr` if it lacks the
    /// property, `paramErr` for a value out of range.
    Result SetProperty(const std::string& name, uint32_t property, int64_t value);

private:
    PipeWireNodes();
    class Watch;
    std::unique_ptr<Watch> watch;
};

} // namespace platform
