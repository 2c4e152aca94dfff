// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/pipewire/PipeWireHeaders.h"

#include <vector>

namespace platform {

/// The values allowed for a property of a parameter.
template <typename Value> struct PodChoice {
    std::vector<Value> values; ///< for a range: default, minimum, maximum
    bool isRange = false;
};

/// Reads a property of an object; `type` is the library's number for `Value`. Empty if the object lacks it, it has
/// another type, or it is truncated.
template <typename Value> PodChoice<Value> ReadChoice(const spa_pod* object, uint32_t key, uint32_t type)
{
    PodChoice<Value> found;
    const spa_pod_prop* property = spa_pod_find_prop(object, nullptr, key);
    if (property == nullptr)
        return found;
    uint32_t count = 0;
    uint32_t choice = SPA_CHOICE_None;
    const spa_pod* pod = spa_pod_get_values(&property->value, &count, &choice);
    if (pod == nullptr || pod->type != type || pod->size < sizeof(Value))
        return found;
    found.isRange = (choice == SPA_CHOICE_Range || choice == SPA_CHOICE_Step) && count >= 3;
    const auto* values = static_cast<const Value*>(SPA_POD_BODY_CONST(pod));
    // A list repeats its default.
    const uint32_t first = choice == SPA_CHOICE_Enum && count > 1 ? 1 : 0;
    const uint32_t end = choice == SPA_CHOICE_None ? 1 : count;
    for (uint32_t i = first; i < end; ++i)
        found.values.push_back(values[i]);
    return found;
}

} // namespace platform
