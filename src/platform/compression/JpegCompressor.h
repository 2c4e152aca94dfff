// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/FrameCompressor.h"

namespace platform {

/// A compressor for "jpeg".
std::unique_ptr<FrameCompressor> MakeJpegCompressor(const CompressionSettings& settings);

} // namespace platform
