// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/pipewire/PipeWireHeaders.h"
#include "platform/digitizer/pipewire/PipeWireNode.h"

namespace platform {

/// Adds the control described by a parameter of kind `SPA_PARAM_PropInfo`, or replaces the one with its number.
void AddProperty(const spa_pod* parameter, std::vector<PipeWireNode::Property>& properties);

/// Reads the present values from a parameter of kind `SPA_PARAM_Props`.
void ReadPropertyValues(const spa_pod* parameter, std::vector<PipeWireNode::Property>& properties);

/// Builds the parameter that sets a property to a control's value, in the builder's memory.
const spa_pod* BuildProperty(spa_pod_builder& builder, const PipeWireNode::Property& property, int64_t value);

} // namespace platform
