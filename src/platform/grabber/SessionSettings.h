// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace platform {

/// A device in the settings that this machine could not open, and the one used instead.
struct ReplacedDevice {
    bool isVideo;
    std::string wanted;
    std::string taken;
};

/// The devices replaced by the last `SGSetSettings`; each is returned once. Main thread.
std::vector<ReplacedDevice> TakeReplacedDevices();

} // namespace platform
