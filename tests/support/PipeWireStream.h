// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/pipewire/PipeWireHeaders.h"

#include <vector>

namespace test {

/// Connects the stream of a camera that drives its own graph, with the formats and controls that it offers. Returns
/// false on failure.
inline bool ConnectCamera(pw_stream* stream, std::vector<const spa_pod*> offers)
{
    const auto flags =
        static_cast<pw_stream_flags>(PW_STREAM_FLAG_DRIVER | PW_STREAM_FLAG_MAP_BUFFERS | PW_STREAM_FLAG_NO_CONVERT);
    return pw_stream_connect(stream, PW_DIRECTION_OUTPUT, PW_ID_ANY, flags, offers.data(),
                             static_cast<uint32_t>(offers.size())) >= 0;
}

/// Answers the choice of a format with the buffers for it: `size` bytes, rows of `stride` bytes, and a header.
inline void AnswerFormat(pw_stream* stream, int size, int stride)
{
    uint8_t memory[1024];
    spa_pod_builder builder = SPA_POD_BUILDER_INIT(memory, sizeof memory);
    const spa_pod* answers[2];
    answers[0] = static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_buffers,
        SPA_POD_CHOICE_RANGE_Int(8, 2, 16), SPA_PARAM_BUFFERS_blocks, SPA_POD_Int(1), SPA_PARAM_BUFFERS_size,
        SPA_POD_Int(size), SPA_PARAM_BUFFERS_stride, SPA_POD_Int(stride)));
    answers[1] = static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type, SPA_POD_Id(SPA_META_Header),
        SPA_PARAM_META_size, SPA_POD_Int(sizeof(spa_meta_header))));
    pw_stream_update_params(stream, answers, 2);
}

/// Suspends a camera's node. A receiver that leaves takes the buffers along that it holds, and the server would hand
/// the next one the same set, in which none is left. A node that is suspended gets new ones.
inline void SuspendNode(pw_stream* stream)
{
    pw_registry* registry = pw_core_get_registry(pw_stream_get_core(stream), PW_VERSION_REGISTRY, 0);
    auto* node = static_cast<pw_node*>(
        pw_registry_bind(registry, pw_stream_get_node_id(stream), PW_TYPE_INTERFACE_Node, PW_VERSION_NODE, 0));
    const spa_command suspend = SPA_NODE_COMMAND_INIT(SPA_NODE_COMMAND_Suspend);
    if (node != nullptr) {
        pw_node_send_command(node, &suspend);
        pw_proxy_destroy(reinterpret_cast<pw_proxy*>(node));
    }
    pw_proxy_destroy(reinterpret_cast<pw_proxy*>(registry));
}

} // namespace test
