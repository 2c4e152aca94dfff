// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/pipewire/PipeWireHeaders.h"
#include "platform/digitizer/pipewire/PipeWireNode.h"

namespace platform {

/// The kernel's code for a video format of the server (`spa_video_format`); 0 if it is not supported.
uint32_t PixelFormatOfVideoFormat(uint32_t videoFormat);
/// The server's video format for a code of the kernel; 0 if there is none.
uint32_t VideoFormatOfPixelFormat(uint32_t pixelFormat);

/// Adds the formats of a parameter of kind `SPA_PARAM_EnumFormat`, up to a limit. From ranges of sizes and rates: the
/// usual ones, the default, and the maximum.
void AddOffers(const spa_pod* parameter, std::vector<PipeWireNode::Offer>& offers);

/// Builds the one format that a stream requests, in the builder's memory.
const spa_pod* BuildFormat(spa_pod_builder& builder, const PipeWireNode::Offer& offer);

} // namespace platform
