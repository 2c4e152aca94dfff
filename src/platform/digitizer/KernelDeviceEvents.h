// SPDX-License-Identifier: MIT
#pragma once

#include <libudev.h>
#include <memory>
#include <string>
#include <vector>

namespace platform {

/// Reports video devices that come and go, from the system's device events, without polling. For one thread.
class KernelDeviceEvents {
public:
    struct Event {
        enum class Kind { Arrived, Left, Changed };
        Kind kind = Kind::Changed;
        std::string node; ///< such as "/dev/video0"; empty for a device without one
    };

    /// Watches the devices of one kernel subsystem.
    explicit KernelDeviceEvents(const char* subsystem = "video4linux");

    /// A descriptor that becomes readable when `Read` has events, owned by this object; -1 if the machine has no device
    /// events.
    int Descriptor() const;

    /// The events since the last call. Does not wait.
    std::vector<Event> Read();

private:
    std::unique_ptr<udev, decltype(&udev_unref)> context;
    std::unique_ptr<udev_monitor, decltype(&udev_monitor_unref)> monitor;
};

} // namespace platform
