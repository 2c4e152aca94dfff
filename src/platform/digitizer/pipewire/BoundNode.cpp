// SPDX-License-Identifier: MIT
#include "platform/digitizer/pipewire/BoundNode.h"

#include "platform/digitizer/pipewire/PipeWireControls.h"
#include "platform/digitizer/pipewire/PipeWireFormats.h"
#include "platform/files/DeviceText.h"

#include <algorithm>
#include <utility>

namespace platform {
namespace {

std::string TextOf(const spa_dict* properties, const char* key)
{
    const char* text = properties == nullptr ? nullptr : spa_dict_lookup(properties, key);
    return text == nullptr ? std::string() : std::string(text);
}

} // namespace

BoundNode::BoundNode(pw_registry* registry, uint32_t id, std::mutex& guard, std::function<void()> hasAsked)
    : mutex(guard), asked(std::move(hasAsked))
{
    static const pw_node_events events = Events();
    proxy = static_cast<pw_proxy*>(pw_registry_bind(registry, id, PW_TYPE_INTERFACE_Node, PW_VERSION_NODE, 0));
    if (proxy != nullptr)
        pw_node_add_listener(reinterpret_cast<pw_node*>(proxy), &listener, &events, this);
}

BoundNode::~BoundNode()
{
    if (proxy == nullptr)
        return;
    spa_hook_remove(&listener);
    pw_proxy_destroy(proxy);
}

pw_node_events BoundNode::Events()
{
    pw_node_events events{};
    events.version = PW_VERSION_NODE_EVENTS;
    events.info = [](void* self, const pw_node_info* info) { static_cast<BoundNode*>(self)->InfoChanged(*info); };
    events.param = [](void* self, int, uint32_t id, uint32_t index, uint32_t, const spa_pod* parameter) {
        static_cast<BoundNode*>(self)->ParameterCame(id, index, parameter);
    };
    return events;
}

void BoundNode::InfoChanged(const pw_node_info& info)
{
    if ((info.change_mask & PW_NODE_CHANGE_MASK_PROPS) != 0) {
        const std::lock_guard lock(mutex);
        node.name = TextOf(info.props, PW_KEY_NODE_NAME);
        node.description = CleanDeviceText(TextOf(info.props, PW_KEY_NODE_DESCRIPTION));
        node.kernelPath = TextOf(info.props, "api.v4l2.path");
        if (node.description.empty())
            node.description = node.name;
    }
    if ((info.change_mask & PW_NODE_CHANGE_MASK_PARAMS) == 0)
        return;
    for (uint32_t i = 0; i < info.n_params; ++i)
        for (const uint32_t wanted : {SPA_PARAM_EnumFormat, SPA_PARAM_PropInfo, SPA_PARAM_Props})
            if (info.params[i].id == wanted && (info.params[i].flags & SPA_PARAM_INFO_READ) != 0)
                pw_node_enum_params(reinterpret_cast<pw_node*>(proxy), 0, wanted, 0, UINT32_MAX, nullptr);
    asked();
}

void BoundNode::ParameterCame(uint32_t id, uint32_t index, const spa_pod* parameter)
{
    const std::lock_guard lock(mutex);
    if (id == SPA_PARAM_EnumFormat && index == 0)
        arriving.clear();
    if (id == SPA_PARAM_EnumFormat)
        AddOffers(parameter, arriving);
    else if (id == SPA_PARAM_PropInfo)
        AddProperty(parameter, node.properties);
    else if (id == SPA_PARAM_Props)
        ReadPropertyValues(parameter, node.properties);
}

void BoundNode::TakeOffers()
{
    if (!arriving.empty())
        node.offers = std::exchange(arriving, {});
}

PipeWireNode::Property* BoundNode::FindProperty(uint32_t property)
{
    const auto found =
        std::ranges::find(node.properties, property, [](const auto& one) { return one.control.identity; });
    return found == node.properties.end() ? nullptr : &*found;
}

Result BoundNode::NoteProperty(uint32_t property, int64_t value)
{
    PipeWireNode::Property* found = FindProperty(property);
    if (found == nullptr)
        return digiUnimpErr;
    if (value < found->control.minimum || value > found->control.maximum)
        return paramErr;
    found->control.value = value;
    return noErr;
}

void BoundNode::SendProperty(uint32_t property)
{
    const std::lock_guard lock(mutex);
    const PipeWireNode::Property* found = FindProperty(property);
    if (found == nullptr || proxy == nullptr)
        return;
    uint8_t memory[256];
    spa_pod_builder builder = SPA_POD_BUILDER_INIT(memory, sizeof memory);
    const spa_pod* parameter = BuildProperty(builder, *found, found->control.value);
    pw_node_set_param(reinterpret_cast<pw_node*>(proxy), SPA_PARAM_Props, 0, parameter);
}

} // namespace platform
