// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/pipewire/PipeWireHeaders.h"
#include "platform/digitizer/pipewire/PipeWireNode.h"

#include <functional>
#include <mutex>
#include <vector>

namespace platform {

/// A node about which the server reports everything: its properties, formats and controls, and their changes. It is
/// created, used and destroyed on the connection's thread.
class BoundNode {
public:
    /// Binds the node of that number. `mutex` guards `Node`; `asked` is called, without the mutex, when the server has
    /// been asked for more.
    BoundNode(pw_registry* registry, uint32_t id, std::mutex& mutex, std::function<void()> asked);
    BoundNode(const BoundNode&) = delete;
    BoundNode& operator=(const BoundNode&) = delete;
    ~BoundNode();

    /// What is known of the node. Hold the mutex; any thread.
    const PipeWireNode& Node() const { return node; }

    /// Gives the node the formats that have come one by one, now that they are complete. Hold the mutex.
    void TakeOffers();

    /// Stores a property's new value. Returns `paramErr` if it is out of range, `digiUnimpErr` if the node lacks the
    /// property. Hold the mutex; any thread.
    Result NoteProperty(uint32_t property, int64_t value);

    /// Sends a property's stored value to the server.
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
    std::vector<PipeWireNode::Offer> arriving; ///< an incomplete list of formats
};

} // namespace platform
