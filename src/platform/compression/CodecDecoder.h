// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/FrameDecoder.h"

namespace platform {

/// A decoder by libavcodec; null if it does not decode the codec.
std::unique_ptr<FrameDecoder> MakeCodecDecoder(const ImageDescription& description);

} // namespace platform
