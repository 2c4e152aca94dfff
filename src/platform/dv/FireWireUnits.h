// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace platform {

/// Where the kernel lists FireWire devices, and where this user's processes record their connections.
struct FireWirePaths {
    std::filesystem::path nodes = "/dev";                      ///< device files fw0, fw1, ...
    std::filesystem::path units = "/sys/bus/firewire/devices"; ///< a folder for each device and each unit of it
    std::filesystem::path runtime = {};                        ///< empty: the user's runtime folder
};

/// Replaces the kernel's paths, for tests. Not while a bus is in use.
void SetFireWirePaths(FireWirePaths paths);

/// The user's runtime folder, which the system empties when the user logs out; empty if there is none.
std::filesystem::path FireWireRuntimeFolder();

/// A device's GUID as 16 hexadecimal digits.
std::string GuidText(uint64_t guid);

/// Whether the machine has a FireWire adapter.
bool HasFireWire();

/// A unit of a device, as the kernel lists it.
struct FireWireUnit {
    uint64_t guid = 0; ///< of the device
    std::string name;  ///< vendor and model, UTF-8; may be empty
    uint32_t specifier = 0;
    uint32_t version = 0;
    std::filesystem::path node; ///< the device's file
    bool mayBeOpened = false;   ///< by this user

    bool IsAvc() const;         ///< accepts AV/C commands: a camcorder, a deck, a converter
    bool IsIIDC() const;        ///< an IIDC camera (1394 Trade Association)
    std::string Reason() const; ///< why it can't be used: a sentence for the user; empty if it may be opened
};

/// The units of all devices on the bus, ordered by node, including those that this user may not open.
std::vector<FireWireUnit> ListFireWireUnits();

} // namespace platform
