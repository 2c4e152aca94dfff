// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/FourCharCode.h"

#include <string_view>

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace platform {

/// A codec of the movie format: its code in descriptions, the library's name for it, and one for people.
struct CodecTag {
    FourCharCode code;
    AVCodecID codec;
    std::string_view name;
};

/// The tag of a code, or null for one that is not known.
const CodecTag* FindCodecTag(FourCharCode code);

} // namespace platform
