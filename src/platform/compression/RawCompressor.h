// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/FrameCompressor.h"

namespace platform {

/// "Compressors" that store uncompressed pixels: "raw " (24 or 32 bits, depending on the depth setting), "2vuy" and
/// "yuvs".
std::unique_ptr<FrameCompressor> MakeRawCompressor(const CompressionSettings& settings);

} // namespace platform
