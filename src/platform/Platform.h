#pragma once

namespace platform {

/// Offers the components and exports the calls that are bound by name. Once, before any other call of the platform.
/// It opens no device and waits for nothing.
void StartPlatform();

} // namespace platform
