// SPDX-License-Identifier: MIT
#pragma once

#include <libudev.h>
#include <memory>
#include <string>
#include <vector>

namespace platform {

/// Reports video devices that come and go, by the system's device events: nothing is polled. For one thread.
class KernelDeviceEvents {
public:
    struct Event {
        enum class Kind { Arrived, Left, Changed };
        Kind kind = Kind::Changed;
        std::string node; ///< such as "/dev/video0"; empty for a device without one
    };

    /// Watches the devices of one kernel subsystem.
    explicit KernelDeviceEvents(const char* subsystem = "video4linux");

    /// A descriptor that is readable when `Read` has events; -1 on a machine without device events. It
    /// belongs to the watcher.
    int Descriptor() const;

    /// The events since the last call. Never waits.
    std::vector<Event> Read();

private:
    std::unique_ptr<udev, decltype(&udev_unref)> context;
    std::unique_ptr<udev_monitor, decltype(&udev_monitor_unref)> monitor;
};

} // namespace platform
