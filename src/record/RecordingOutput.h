// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace velmora {

/// The output file of a recording, with any name of up to 255 bytes, in any folder.
///
/// The capture control only accepts UTF-8 names that are short (in direct mode) or have no backslash (in data procedure
/// mode). For other names the recording starts with a plain name in the same folder, and the file is renamed as soon as
/// it exists.
class RecordingOutput {
public:
    /// Why a movie cannot be written.
    enum class Refusal { None, Unwritable, DiskFull };

    /// The path as given by the user.
    explicit RecordingOutput(std::string path);
    ~RecordingOutput();
    RecordingOutput(const RecordingOutput&) = delete;
    RecordingOutput& operator=(const RecordingOutput&) = delete;

    /// Checks whether a movie can be written, and describes in `problem` why not. Changes nothing on the disk. An
    /// existing file is only accepted with `replace`, and only if it is a regular file. Call this first.
    Refusal Check(bool replace, std::string& problem);

    /// The path to pass to the control.
    std::string PathForControl() const;

    /// Renames the file created by the control to its final name, if necessary. Returns false, with the reason in
    /// `problem`, on failure.
    bool TakeName(std::string& problem) const;

    /// The path of the movie, with symbolic links resolved.
    const std::string& Path() const { return path; }

private:
    Refusal CheckFolder(std::string& problem);
    Refusal CheckFile(bool replace, std::string& problem) const;
    Refusal CheckCreation(std::string& problem) const;
    Refusal CheckSpace(std::string& problem) const;
    Refusal RefuseFor(int error, std::string& problem) const;
    bool NeedsPlainName() const;

    std::string path;
    std::string name; ///< the path's last component
    int folder = -1;  ///< descriptor of the folder
};

} // namespace velmora
