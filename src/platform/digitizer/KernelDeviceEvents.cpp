// SPDX-License-Identifier: MIT
#include "platform/digitizer/KernelDeviceEvents.h"

#include <string_view>
#include <unistd.h>

namespace platform {
namespace {

// The device manager sends its events once a node's permissions are set. Without a manager, use the kernel's events.
const char* EventSource()
{
    return access("/run/udev/control", F_OK) == 0 ? "udev" : "kernel";
}

KernelDeviceEvents::Event::Kind KindOf(const char* action)
{
    const std::string_view text = action == nullptr ? "" : action;
    if (text == "add")
        return KernelDeviceEvents::Event::Kind::Arrived;
    return text == "remove" ? KernelDeviceEvents::Event::Kind::Left : KernelDeviceEvents::Event::Kind::Changed;
}

} // namespace

KernelDeviceEvents::KernelDeviceEvents(const char* subsystem)
    : context(udev_new(), udev_unref),
      monitor(context ? udev_monitor_new_from_netlink(context.get(), EventSource()) : nullptr, udev_monitor_unref)
{
    if (!monitor)
        return;
    udev_monitor_filter_add_match_subsystem_devtype(monitor.get(), subsystem, nullptr);
    if (udev_monitor_enable_receiving(monitor.get()) < 0)
        monitor.reset();
}

int KernelDeviceEvents::Descriptor() const
{
    return monitor ? udev_monitor_get_fd(monitor.get()) : -1;
}

std::vector<KernelDeviceEvents::Event> KernelDeviceEvents::Read()
{
    std::vector<Event> events;
    while (monitor) {
        const std::unique_ptr<udev_device, decltype(&udev_device_unref)> device(
            udev_monitor_receive_device(monitor.get()), udev_device_unref);
        if (!device)
            break;
        const char* node = udev_device_get_devnode(device.get());
        events.push_back({KindOf(udev_device_get_action(device.get())), node == nullptr ? "" : node});
    }
    return events;
}

} // namespace platform
