// SPDX-License-Identifier: MIT
#pragma once

#include "platform/grabber/ChannelList.h"

#include <cstdint>
#include <optional>

namespace platform {

/// Starts and stops the devices of a session's channels. Devices run while a mode needs them, and for half a second
/// after a stop: a camera takes that long to start, and callers stop a session to change something and start it again
/// at once.
class RunningDevices {
public:
    /// The channels must outlive this object.
    explicit RunningDevices(const ChannelList& channels) : channels(channels) {}

    /// Starts the devices of the channels that a mode uses and stops the others. Returns the first failure.
    Result Run(GrabMode mode);

    /// Keeps all devices running but drops what they deliver.
    void Rest();
    /// Does the same for one device.
    void Rest(Channel& channel);

    /// Stops all devices at once.
    void Halt();

    /// Stops unused devices once their time is over. `now`: `MonotonicNow`.
    void ReleaseRested(int64_t now);

    /// Once a second, tries again to start the devices of a mode that could not be started. Returns whether one was.
    bool RetryAbsent(GrabMode mode, int64_t now);

private:
    const ChannelList& channels;
    int64_t lastRetry = 0;
    std::optional<int64_t> restingSince;
};

} // namespace platform
