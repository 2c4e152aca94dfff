// SPDX-License-Identifier: MIT
#pragma once

#include "platform/movies/OutputFile.h"
#include "platform/movies/RecoveryJournal.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace platform {

/// The file of a recording, as read by recovery. Every access is checked against its size.
class RecordingFile {
public:
    /// Opens the file, also for writing if that is allowed, and locks it. Returns `fnfErr` if it does not exist,
    /// `fBsyErr` if it is being written, `invalidMovie` if it is not a regular file.
    Result Open(const std::string& path);

    /// Size of the file in bytes.
    int64_t Size() const { return size; }
    /// The open file, owned by this object.
    int Descriptor() const { return descriptor.Get(); }

    /// Why the file can't be written, as a result code, or noErr.
    Result WriteFailure() const { return writeFailure; }

    /// Reads at most as many bytes as the file has at `position`, and returns how many.
    size_t Read(int64_t position, std::span<uint8_t> bytes) const;

    /// Whether the file starts like a recording of this system, up to two damaged bytes. A journal alone doesn't
    /// prove that, since another file may have been written over a part of ours.
    bool IsOurs() const;

    /// Whether the movie is complete: it names the position of its header, and the whole header is there.
    bool IsFinished() const;

    /// The boxes of the recording's journal, first one first. The time this takes is bounded by the size of the file,
    /// whatever it contains.
    std::vector<JournalBox> ReadJournal() const;

private:
    bool ReadBox(int64_t position, JournalBox& box) const;
    bool FindBoxBefore(int64_t end, JournalBox& box) const;

    UniqueFD descriptor;
    Result writeFailure = noErr;
    int64_t size = 0;
    mutable int64_t readable = 0; // bytes that may still be read in the search for boxes
};

} // namespace platform
