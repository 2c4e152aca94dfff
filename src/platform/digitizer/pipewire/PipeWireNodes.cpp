// SPDX-License-Identifier: MIT
// The list of cameras at the PipeWire server.
//
// One mutex guards what the connection's thread writes and callers read. Nodes are bound and destroyed on that thread
// only.
#include "platform/digitizer/pipewire/PipeWireNodes.h"

#include "platform/digitizer/DeviceTimes.h"
#include "platform/digitizer/pipewire/BoundNode.h"
#include "platform/digitizer/pipewire/PipeWireConnection.h"

#include <algorithm>
#include <map>

namespace platform {

class PipeWireNodes::Watch : private PipeWireEvents {
public:
    // The time for the first answer starts here.
    void Prepare()
    {
        const std::lock_guard lock(mutex);
        if (!connection.IsStarted() && connection.Start())
            deadline = std::chrono::steady_clock::now() + kServerPatience;
    }

    std::vector<PipeWireNode> List()
    {
        Prepare();
        std::unique_lock lock(mutex);
        if (!connection.IsStarted())
            return {};
        changed.wait_until(lock, deadline, [this] { return answers || allAnswered; });
        // A server that has started to answer is only slow, on a busy machine, and its cameras are worth waiting for.
        if (answers)
            changed.wait_until(lock, deadline + kServerAnswerTime, [this] { return allAnswered; });
        std::vector<PipeWireNode> list;
        for (const auto& [id, bound] : nodes)
            if (!bound->Node().offers.empty())
                list.push_back(bound->Node());
        return list;
    }

    Result SetProperty(const std::string& name, uint32_t property, int64_t value)
    {
        const std::lock_guard lock(mutex);
        const auto found = std::ranges::find(nodes, name, NameOf);
        if (found == nodes.end())
            return noDeviceForChannel;
        const Result result = found->second->NoteProperty(property, value);
        if (result == noErr)
            connection.Run([this, id = found->first, property] {
                if (const auto bound = nodes.find(id); bound != nodes.end())
                    bound->second->SendProperty(property);
            });
        return result;
    }

private:
    using Nodes = std::map<uint32_t, std::unique_ptr<BoundNode>>;

    static const std::string& NameOf(const Nodes::value_type& entry) { return entry.second->Node().name; }

    void ServerAnswers() override
    {
        const std::lock_guard lock(mutex);
        answers = true;
        changed.notify_all();
    }

    void AllAnswered() override
    {
        const std::lock_guard lock(mutex);
        for (const auto& [id, bound] : nodes)
            bound->TakeOffers();
        allAnswered = true;
        changed.notify_all();
    }

    void CameraAdded(pw_registry* registry, uint32_t id) override
    {
        auto bound = std::make_unique<BoundNode>(registry, id, mutex, [this] { connection.AskForEnd(); });
        const std::lock_guard lock(mutex);
        nodes[id] = std::move(bound);
        connection.AskForEnd();
    }

    void ObjectRemoved(uint32_t id) override
    {
        const std::lock_guard lock(mutex);
        nodes.erase(id);
    }

    void ConnectionEnds() override
    {
        const std::lock_guard lock(mutex);
        nodes.clear();
    }

    std::mutex mutex; // guards the following; the map itself is only changed by the connection's thread
    std::condition_variable changed;
    std::chrono::steady_clock::time_point deadline;
    Nodes nodes;
    bool answers = false;
    bool allAnswered = false;

    PipeWireConnection connection{*this};
};

PipeWireNodes::PipeWireNodes() : watch(std::make_unique<Watch>()) {}

PipeWireNodes::~PipeWireNodes() = default;

PipeWireNodes& PipeWireNodes::Instance()
{
    static PipeWireNodes nodes;
    return nodes;
}

void PipeWireNodes::Prepare()
{
    watch->Prepare();
}

std::vector<PipeWireNode> PipeWireNodes::List()
{
    return watch->List();
}

PipeWireNode PipeWireNodes::Find(const std::string& name)
{
    for (auto& node : List())
        if (node.name == name)
            return node;
    return {};
}

Result PipeWireNodes::SetProperty(const std::string& name, uint32_t property, int64_t value)
{
    return watch->SetProperty(name, property, value);
}

} // namespace platform
