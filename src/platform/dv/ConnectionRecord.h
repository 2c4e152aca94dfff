// SPDX-License-Identifier: MIT
#pragma once

#include "platform/files/UniqueFD.h"

#include <cstdint>
#include <optional>

namespace platform {

/// What a connection to a plug holds of the bus: what it takes to give that back.
struct HeldConnection {
    int adapter = -1;
    unsigned generation = 0;
    int plug = -1;
    int channel = -1;
    int bandwidth = 0;
};

/// A file in the user's runtime folder that records a connection. A process that is killed can't give channel and
/// bandwidth back, and the bus keeps them until its next reset: the next process that connects to the device finds the
/// record and does. It is locked as long as its writer lives.
class ConnectionRecord {
public:
    /// Locks the record of a device. What a process that has ended left in it; nothing where it is empty, or its writer
    /// lives.
    std::optional<HeldConnection> Claim(uint64_t guid);

    /// Writes the record, where this process has locked it.
    void Write(const HeldConnection& held);

    /// Empties the record and unlocks it.
    void Clear();

private:
    UniqueFD file;
};

} // namespace platform
