// SPDX-License-Identifier: MIT
#pragma once

namespace platform {

/// Notifies its owner, for instance a settings dialog, that the list of sound sources may have changed. Main thread
/// only. Create it before reading the list, so that no change is missed.
class SoundWatcher {
public:
    /// Starts to watch the list.
    SoundWatcher();
    ~SoundWatcher();
    SoundWatcher(const SoundWatcher&) = delete;
    SoundWatcher& operator=(const SoundWatcher&) = delete;

    /// A descriptor that becomes readable when the list has changed, for `poll` or a socket notifier; -1 on failure.
    int FileDescriptor() const { return descriptor; }

    /// Returns whether the list has changed since the last call.
    bool TakeChange();

private:
    int descriptor;
};

/// Notifies all watchers. Any thread.
void NoteSoundSourcesChanged();

/// Whether there are watchers.
bool SoundSourcesAreWatched();

} // namespace platform
