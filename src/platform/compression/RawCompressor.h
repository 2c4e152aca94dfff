// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/FrameCompressor.h"

namespace platform {

/// "Compressors" that store pixels in one layout: "raw " (24 or 32 bits by the settings' depth), "2vuy" and "yuvs".
std::unique_ptr<FrameCompressor> MakeRawCompressor(const CompressionSettings& settings);

} // namespace platform
