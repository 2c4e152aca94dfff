// SPDX-License-Identifier: MIT
#pragma once

#include "framework/String.h"

#include <cstdint>

namespace framework {

/// The font of a control's text. "System" and "SmallSystem" are the interface fonts; size is in pixels, 0: the default.
struct ControlFont {
    String family = "System";
    int32_t size = 0;
    bool bold = false;
};

} // namespace framework
