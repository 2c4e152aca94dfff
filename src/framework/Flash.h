// SPDX-License-Identifier: MIT
#pragma once

namespace framework {

/// Flashes a frame around the front window for a quarter of a second: a visible beep.
void FlashFrontWindow();

} // namespace framework
