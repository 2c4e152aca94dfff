// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace velmora {

/// A note in the user's state folder ($XDG_STATE_HOME or ~/.local/state, "velmora/recordings") that says which movie is
/// being recorded. A note left behind names a recording that was interrupted. The file is locked while this object
/// lives, which tells other processes that the recording still runs.
class RecordingNote {
public:
    /// Writes a note that this process records into the file with that absolute path. Returns null if the note cannot
    /// be written; the recording works without it.
    static std::unique_ptr<RecordingNote> Write(const std::string& moviePath);

    /// Locks and returns the notes of interrupted recordings, oldest first. Removes notes whose movie no longer exists.
    static std::vector<std::unique_ptr<RecordingNote>> LeftBehind();

    /// Unlocks the note and leaves the file in place.
    ~RecordingNote();
    RecordingNote(const RecordingNote&) = delete;
    RecordingNote& operator=(const RecordingNote&) = delete;

    /// Deletes the note, once the recording has become a movie, and with the last note its folder.
    void Remove();

    const std::string& MoviePath() const { return moviePath; } ///< absolute
    int64_t Began() const { return began; }                    ///< seconds since 1970

private:
    RecordingNote(int descriptor, std::string notePath) : descriptor(descriptor), notePath(std::move(notePath)) {}
    bool Read();

    int descriptor;
    std::string notePath;
    std::string moviePath;
    int64_t began = 0;
};

} // namespace velmora
