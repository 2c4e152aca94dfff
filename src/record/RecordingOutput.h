// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace velmora {

/// Where a recording goes: a name of any bytes, at most 255 of them, in a folder of any name.
///
/// The capture control takes names that are UTF-8, short in one of its modes, and without backslashes in the other.
/// With other names the recording begins under a plain name in the same folder and is renamed as soon as the file
/// exists.
class RecordingOutput {
public:
    enum class Refusal { None, Unwritable, DiskFull };

    /// `path` as the user gave it.
    explicit RecordingOutput(std::string path);
    ~RecordingOutput();
    RecordingOutput(const RecordingOutput&) = delete;
    RecordingOutput& operator=(const RecordingOutput&) = delete;

    /// Whether a movie can be written there; the reason for a refusal goes into `problem`. Changes nothing on the disk.
    /// An existing file is refused unless `replace`, and whatever is no plain file always. To be called first.
    Refusal Check(bool replace, std::string& problem);

    /// The path that the control records to.
    std::string PathForControl() const;

    /// Gives the file that the control has made its own name. False, with the reason in `problem`, if there is none.
    bool TakeName(std::string& problem) const;

    /// The path of the movie; where a link was given, what it leads to.
    const std::string& Path() const { return path; }

private:
    Refusal CheckFolder(std::string& problem);
    Refusal CheckFile(bool replace, std::string& problem) const;
    Refusal CheckCreation(std::string& problem) const;
    Refusal CheckRoom(std::string& problem) const;
    Refusal RefuseFor(int error, std::string& problem) const;
    bool NeedsPlainName() const;

    std::string path;
    std::string name; ///< the path's last part
    int folder = -1;  ///< descriptor of the folder
};

} // namespace velmora
