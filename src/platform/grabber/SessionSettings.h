// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace platform {

// Saved settings as bytes, looked at from outside of a session.

enum class SettingsFault {
    None,    ///< `SGSetSettings` takes them
    Foreign, ///< no settings at all
    Damaged, ///< settings that were cut off or changed, or of a form that came later than this program
};

/// What is wrong with the flattened form of settings.
SettingsFault CheckSettings(std::span<const uint8_t> flattened);

/// A device that settings asked for and this machine could not open, and the one that took its place.
struct ReplacedDevice {
    bool isVideo;
    std::string wanted;
    std::string taken;
};

/// What the last `SGSetSettings` replaced; each is handed out once. Main thread.
std::vector<ReplacedDevice> TakeReplacedDevices();

} // namespace platform
