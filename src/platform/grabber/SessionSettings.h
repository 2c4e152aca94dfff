// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace platform {

// Saved settings as bytes, examined outside of a session.

enum class SettingsFault {
    None,    ///< `SGSetSettings` accepts them
    Foreign, ///< not settings
    Damaged, ///< settings that were truncated or changed, or saved by a newer version of this program
};

/// Checks the flattened form of settings.
SettingsFault CheckSettings(std::span<const uint8_t> flattened);

/// A device in the settings that this machine could not open, and the one used instead.
struct ReplacedDevice {
    bool isVideo;
    std::string wanted;
    std::string taken;
};

/// The devices replaced by the last `SGSetSettings`; each is returned once. Main thread.
std::vector<ReplacedDevice> TakeReplacedDevices();

} // namespace platform
