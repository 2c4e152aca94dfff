// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/FrameDecoder.h"

namespace platform {

/// A decoder by libavcodec, or null when the codec isn't one it decodes.
std::unique_ptr<FrameDecoder> MakeCodecDecoder(const ImageDescription& description);

} // namespace platform
