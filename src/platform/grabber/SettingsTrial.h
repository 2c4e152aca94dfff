// SPDX-License-Identifier: MIT
#pragma once

#include "platform/grabber/Session.h"

namespace platform {

/// A settings dialog trying out one channel. While this object lives, the session delivers nothing, the channel's
/// device runs in any mode of the session, and its samples come here. Afterwards the session continues as before. Main
/// thread.
class SettingsTrial {
public:
    /// `channel` must belong to the session.
    SettingsTrial(std::shared_ptr<Session> session, std::shared_ptr<Channel> channel);
    ~SettingsTrial();
    SettingsTrial(const SettingsTrial&) = delete;
    SettingsTrial& operator=(const SettingsTrial&) = delete;

    /// The channel that is being tried out.
    Channel& Tried() { return *channel; }

    /// Removes and returns the next sample, in the order of capture.
    std::optional<Sample> Next() { return session->TakeWaiting(*channel); }

    /// Starts the device if it could not be started before.
    void KeepRunning() { session->RunTried(*channel); }

    /// Switches to another device; the present one is kept on failure.
    Result TakeDevice(const ListedDevice& device);

    /// Restores everything that was changed since the start, on every device that was used.
    void Restore();

private:
    /// The state of a device when the trial first used it.
    struct Found {
        std::string identity;
        std::function<void()> restore;
        TaggedItems settings;
    };

    void Meet();
    bool IsAsFound(const Found& found) const;

    std::shared_ptr<Session> session;
    std::shared_ptr<Channel> channel;
    std::vector<Found> met;       ///< in the order of their first use
    std::vector<Sample> setAside; ///< the samples in the channel's part of the queue when the trial started
    bool paused = false;          ///< the session is only paused for this trial
};

} // namespace platform
