// SPDX-License-Identifier: MIT
#pragma once

#include "platform/movies/OutputFile.h"
#include "platform/movies/RecoveryJournal.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace platform {

/// The file of a recording, as recovery reads it. Every access is checked against its size.
class RecordingFile {
public:
    /// Opens the file, for writing too where that is allowed, and marks it as being worked on. `fnfErr` for no such
    /// file, `fBsyErr` for one that is being written, `invalidMovie` for one that is no regular file.
    Result Open(const std::string& path);

    /// Size of the file in bytes.
    int64_t Size() const { return size; }
    /// The open file, still owned by the object.
    int Descriptor() const { return descriptor.Get(); }

    /// Why the file can't be written, or noErr.
    Result WriteFailure() const { return writeFailure; }

    /// Reads as many of `bytes` as the file has at `position`, and returns how many.
    size_t Read(int64_t position, std::span<uint8_t> bytes) const;

    /// Whether the file's first bytes are those of a recording of this system, but for a bit or two. A journal alone
    /// doesn't prove that, as another file may have been written over a part of ours.
    bool IsOurs() const;

    /// Whether the movie is complete: it says where its header is, and has it there, down to the last byte.
    bool IsFinished() const;

    /// The boxes of the recording's journal, the first one first. The time it takes grows with the size of the file,
    /// whatever is in it.
    std::vector<JournalBox> ReadJournal() const;

private:
    bool ReadBox(int64_t position, JournalBox& box) const;
    bool FindBoxBefore(int64_t end, JournalBox& box) const;

    UniqueFD descriptor;
    Result writeFailure = noErr;
    int64_t size = 0;
    mutable int64_t readable = 0; // bytes that may still be read in search of boxes
};

} // namespace platform
