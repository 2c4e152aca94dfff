// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>

namespace platform {

/// Starts the platform: registers the components and the calls that are bound by name. Call it once, before any other
/// call of the platform. It opens no device and does not block.
void StartPlatform();

/// Ends the process with that code if it still runs after that time, in case a library hangs while devices are
/// released. Call it when everything is saved.
void EndWithin(std::chrono::milliseconds time, int exitCode);

/// Closes all open components, which releases every device. Call it once, after all other calls except drawing.
void EndPlatform();

} // namespace platform
