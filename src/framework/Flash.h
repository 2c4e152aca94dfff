// SPDX-License-Identifier: MIT
#pragma once

namespace framework {

/// Lights up a frame round the window in front for a moment: a beep that can be seen.
void FlashFrontWindow();

} // namespace framework
