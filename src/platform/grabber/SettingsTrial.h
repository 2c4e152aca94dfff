// SPDX-License-Identifier: MIT
#pragma once

#include "platform/grabber/Session.h"

namespace platform {

/// One channel tried out by a settings dialog: while it lives, the session delivers nothing, the channel's device runs
/// whatever the session's mode is, and what it sends comes here. Afterwards the session goes on as it was. Main thread.
class SettingsTrial {
public:
    /// The channel belongs to the session.
    SettingsTrial(std::shared_ptr<Session> session, std::shared_ptr<Channel> channel);
    ~SettingsTrial();
    SettingsTrial(const SettingsTrial&) = delete;
    SettingsTrial& operator=(const SettingsTrial&) = delete;

    /// The channel that is tried out.
    Channel& Tried() { return *channel; }

    /// Takes the next sample that waits, in the order of capture.
    std::optional<Sample> Next() { return session->TakeWaiting(*channel); }

    /// Starts the device where it couldn't be started before.
    void KeepRunning() { session->RunTried(*channel); }

    /// Takes another device; the present one stays where that fails.
    Result TakeDevice(const ListedDevice& device);

    /// Puts back all that was changed since the beginning, on every device that was in use.
    void Restore();

private:
    /// A device as it was when the trial first met it.
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
    std::vector<Sample> setAside; ///< what waited in the channel's part of the queue when the trial began
    bool paused = false;          ///< the session is paused for this trial alone
};

} // namespace platform
