// SPDX-License-Identifier: MIT
#pragma once

namespace platform {

/// Closes all open component instances, the newest first, at the end of the process.
void CloseAllComponents();

} // namespace platform
