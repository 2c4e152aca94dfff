// SPDX-License-Identifier: MIT
#pragma once

#include "platform/files/UniqueFD.h"

#include <cstdint>
#include <optional>

namespace platform {

/// The bus resources that a connection to a plug holds: what is needed to release them.
struct HeldConnection {
    int adapter = -1;
    unsigned generation = 0;
    int plug = -1;
    int channel = -1;
    int bandwidth = 0;
};

/// A file in the user's runtime folder that records a connection. A killed process can't release its channel and
/// bandwidth, and the bus keeps them until its next reset: the next process that connects to the device finds the
/// record and releases them. The file is locked as long as its writer lives.
class ConnectionRecord {
public:
    /// Locks the record of a device. Returns what a process that has ended left in it; nothing if it is empty or its
    /// writer lives.
    std::optional<HeldConnection> Claim(uint64_t guid);

    /// Writes the record, if this process has locked it.
    void Write(const HeldConnection& held);

    /// Empties the record and unlocks it.
    void Clear();

private:
    UniqueFD file;
};

} // namespace platform
