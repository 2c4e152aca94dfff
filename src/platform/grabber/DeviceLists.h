// SPDX-License-Identifier: MIT
#pragma once

#include "platform/grabber/Channel.h"
#include "platform/memory/Handles.h"

namespace platform {

/// Makes names distinct, since people and callers choose by name: the second of two equal names is "Name (2)". A
/// device without a name gets a word that says so.
void MakeNamesDistinct(std::vector<ListedDevice>& devices);

/// The devices of a room's list as a channel offers them, with distinct names.
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

/// A device list as published, with the lists of inputs where they are wanted. 0 without memory.
Handle MakeDeviceList(const Channel& channel, bool withInputs);

/// Gives a list back together with its lists of inputs.
void FreeDeviceList(Handle list);

} // namespace platform
