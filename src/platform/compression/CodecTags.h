// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/FourCharCode.h"

#include <string_view>

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace platform {

/// A codec of the movie format: its code in descriptions, its number in libavcodec, and its name for the user.
struct CodecTag {
    FourCharCode code;
    AVCodecID codec;
    std::string_view name;
};

/// The tag of a code, or null for an unknown one.
const CodecTag* FindCodecTag(FourCharCode code);

} // namespace platform
