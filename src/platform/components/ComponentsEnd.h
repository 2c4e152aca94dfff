// SPDX-License-Identifier: MIT
#pragma once

namespace platform {

/// Closes every open instance of a component, the latest first: at the end of the process.
void CloseAllComponents();

} // namespace platform
