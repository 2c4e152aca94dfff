// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/pipewire/PipeWireHeaders.h"
#include "platform/digitizer/pipewire/PipeWireNode.h"

#include <functional>
#include <mutex>

namespace platform {

/// A node that the server tells everything about: its properties, formats and controls, again when they change. It is
/// made, used and destroyed on the connection's thread.
class BoundNode {
public:
    /// Binds the node of that number. `mutex` guards `Node`; `asked` is called, without it, when the server has been
    /// asked for more.
    BoundNode(pw_registry* registry, uint32_t id, std::mutex& mutex, std::function<void()> asked);
    BoundNode(const BoundNode&) = delete;
    BoundNode& operator=(const BoundNode&) = delete;
    ~BoundNode();

    /// What is known of the node. With the mutex, from any thread.
    const PipeWireNode& Node() const { return node; }

    /// Notes that a property has a value. `paramErr` for one out of range, `digiUnimpErr` for a property that the node
    /// lacks. With the mutex, from any thread.
    Result NoteProperty(uint32_t property, int64_t value);

    /// Sends a property's noted value to the server.
    void SendProperty(uint32_t property);

private:
    static pw_node_events Events();
    void InfoChanged(const pw_node_info& info);
    void ParameterCame(uint32_t id, uint32_t index, const spa_pod* parameter);
    PipeWireNode::Property* FindProperty(uint32_t property);

    std::mutex& mutex;
    const std::function<void()> asked;
    pw_proxy* proxy = nullptr;
    spa_hook listener{};
    PipeWireNode node;
};

} // namespace platform
