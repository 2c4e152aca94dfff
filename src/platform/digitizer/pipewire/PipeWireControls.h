// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/pipewire/PipeWireHeaders.h"
#include "platform/digitizer/pipewire/PipeWireNode.h"

namespace platform {

/// Adds the control that a parameter of kind `SPA_PARAM_PropInfo` describes, or replaces the one of that number.
void AddProperty(const spa_pod* parameter, std::vector<PipeWireNode::Property>& properties);

/// Takes the present values over from a parameter of kind `SPA_PARAM_Props`.
void ReadPropertyValues(const spa_pod* parameter, std::vector<PipeWireNode::Property>& properties);

/// Builds the parameter that sets a property to a control's value. It is in the builder's memory.
const spa_pod* BuildProperty(spa_pod_builder& builder, const PipeWireNode::Property& property, int64_t value);

} // namespace platform
