// SPDX-License-Identifier: MIT
#pragma once

#include "platform/grabber/Channel.h"
#include "platform/memory/Handles.h"

#include <optional>

namespace platform {

/// Makes names distinct, since users and callers choose by name: the second of two equal names becomes "Name (2)". A
/// device without a name gets a placeholder.
void MakeNamesDistinct(std::vector<ListedDevice>& devices);

/// The devices of a module's list as a channel offers them, with distinct names.
template <typename Entry> std::vector<ListedDevice> ListedDevices(const std::vector<Entry>& entries)
{
    std::vector<ListedDevice> devices;
    for (const Entry& entry : entries) {
        devices.push_back({entry.name, entry.identity, entry.inputs, 0, entry.available});
        if constexpr (requires { entry.reason; })
            devices.back().reason = entry.reason;
    }
    MakeNamesDistinct(devices);
    return devices;
}

/// The channel's device with that name, in full or as the published list shortens it.
std::optional<ListedDevice> FindListedDevice(const Channel& channel, const std::string& name);

/// A device list in its published form, on request with the lists of inputs. 0 if memory is full.
Handle MakeDeviceList(const Channel& channel, bool withInputs);

/// Disposes a list together with its lists of inputs.
void FreeDeviceList(Handle list);

} // namespace platform
