// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>

namespace platform {

/// Offers the components and exports the calls that are bound by name. Once, before any other call of the platform.
/// It opens no device and waits for nothing.
void StartPlatform();

/// Ends the process with that code if it still runs after that time: a library that hangs while devices are released
/// must not keep a program from ending. To be called when all that is worth keeping has been saved.
void EndWithin(std::chrono::milliseconds time, int exitCode);

/// Closes all components that are still open, so that every device is released, whatever their users did. Once, after
/// the last call of anything else but drawing.
void EndPlatform();

} // namespace platform
