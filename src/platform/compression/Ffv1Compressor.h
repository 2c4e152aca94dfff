// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/FrameCompressor.h"

namespace platform {

/// A compressor for FFV1 ("FFV1", RFC 9043, version 3 with slice checksums), which is lossless for raw frames; null if
/// libavcodec lacks it.
std::unique_ptr<FrameCompressor> MakeFfv1Compressor(const CompressionSettings& settings);

} // namespace platform
