// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/FrameCompressor.h"

namespace platform {

/// A compressor for H.264 ("avc1") or HEVC ("hvc1"), or null where libavcodec has no encoder for it.
std::unique_ptr<FrameCompressor> MakeInterFrameCompressor(const CompressionSettings& settings);

} // namespace platform
