// SPDX-License-Identifier: MIT
#pragma once

#include "platform/grabber/SequenceGrabber.h"
#include "platform/memory/AddressSpace.h"

namespace platform {

/// The data procedure of a session: the callback that receives each captured buffer.
class DataProcedure {
public:
    /// Installs a callback of `NewSGDataUPP` (0: none) and the value to pass as its last argument.
    void Set(int32_t newCallback, int32_t newRefCon);

    /// Whether a callback is installed.
    bool IsSet() const { return callback != 0; }

    /// Calls the procedure with one buffer of `bytes` bytes at `data`, captured at `time` in the channel's time scale.
    /// Returns the procedure's result; 0 if none is installed. The procedure may stop or close the session.
    Result Call(SGChannel channel, Address data, int64_t bytes, int32_t time) const;

private:
    int32_t callback = 0;
    int32_t refCon = 0;
    OwnedBlock offsetCell{sizeof(int32_t)};
};

} // namespace platform
