// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/FrameCompressor.h"

namespace platform {

/// A compressor by libavcodec for an intra-frame codec ("png ", "dvc ", the ProRes family); null for other codecs.
std::unique_ptr<FrameCompressor> MakeCodecCompressor(const CompressionSettings& settings);

} // namespace platform
