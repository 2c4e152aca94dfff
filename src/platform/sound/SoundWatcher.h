// SPDX-License-Identifier: MIT
#pragma once

namespace platform {

/// Tells its owner, a settings dialog for instance, that the list of sound sources may have changed.
/// Made, asked and ended on the main thread; made before the list is asked for, it misses nothing.
class SoundWatcher {
public:
    SoundWatcher();
    ~SoundWatcher();
    SoundWatcher(const SoundWatcher&) = delete;
    SoundWatcher& operator=(const SoundWatcher&) = delete;

    /// Readable (for `poll` or a socket notifier) once the list has changed. -1 where the system had none to give.
    int FileDescriptor() const { return descriptor; }

    /// Whether the list has changed since the last call.
    bool TakeChange();

private:
    int descriptor;
};

/// Marks all watchers. Any thread may call it.
void NoteSoundSourcesChanged();

/// Whether anybody watches.
bool SoundSourcesAreWatched();

} // namespace platform
