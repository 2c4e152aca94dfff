// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/FourCharCode.h"

#include <cstdint>

namespace platform {

/// A size, frame rate and format that a device offers.
struct CaptureFormat {
    FourCharCode format = 0; ///< pixel format or codec, as in `RawFrame`
    int32_t width = 0;
    int32_t height = 0;
    double frameRate = 0; ///< frames per second

    bool operator==(const CaptureFormat&) const = default;
};

} // namespace platform
