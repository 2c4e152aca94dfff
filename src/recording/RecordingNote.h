// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace velmora {

/// A note under the user's state folder ($XDG_STATE_HOME or ~/.local/state, "velmora/recordings") that a movie is being
/// recorded. A note that its process left behind names a recording that was cut off. The note is locked while this
/// object lives, which is how other processes see that the recording goes on.
class RecordingNote {
public:
    /// Notes that this process records into a file of that absolute path. Null where no note can be kept, which does
    /// not concern the recording.
    static std::unique_ptr<RecordingNote> Write(const std::string& moviePath);

    /// The notes that nobody holds, oldest first: of recordings that were cut off. Those whose movie is gone are
    /// removed.
    static std::vector<std::unique_ptr<RecordingNote>> LeftBehind();

    /// Unlocks the note and leaves it there.
    ~RecordingNote();
    RecordingNote(const RecordingNote&) = delete;
    RecordingNote& operator=(const RecordingNote&) = delete;

    /// The recording has become a movie: nothing is left to remember.
    void Remove();

    const std::string& MoviePath() const { return moviePath; }
    int64_t Began() const { return began; } ///< seconds since 1970

private:
    RecordingNote(int descriptor, std::string notePath) : descriptor(descriptor), notePath(std::move(notePath)) {}
    bool Read();

    int descriptor;
    std::string notePath;
    std::string moviePath;
    int64_t began = 0;
};

} // namespace velmora
