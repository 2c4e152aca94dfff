// SPDX-License-Identifier: MIT
#pragma once

#include "platform/files/UniqueFD.h"
#include "platform/memory/FourCharCode.h"
#include "platform/memory/ResultCodes.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace platform {

/// The platform's result for an error number of the system.
Result ResultOfFileError(int error);

/// Where the bytes of a movie go. Tests put their own in its place.
class OutputFile {
public:
    virtual ~OutputFile() = default;

    /// Writes all bytes, from `position` on.
    virtual Result Write(std::span<const uint8_t> bytes, int64_t position) = 0;

    /// Comes back when what was written before survives a failure of power.
    virtual Result Sync() = 0;

    /// Keeps room on the disk up to `end`, where that can be had, and returns up to where the file can grow.
    virtual int64_t KeepRoom(int64_t end) = 0;

    /// Gives back the room that is kept behind the last byte.
    virtual void ReleaseRoom() {}
};

/// A file on disk.
class DiskFile : public OutputFile {
public:
    /// Takes over an open file. `path` is where it lies.
    DiskFile(UniqueFD opened, std::string path);

    Result Write(std::span<const uint8_t> bytes, int64_t position) override;
    Result Sync() override;
    int64_t KeepRoom(int64_t end) override;
    void ReleaseRoom() override;

    /// Marks the file as being written, until it is closed. False where another process has done so.
    bool Lock();

    /// Makes the file's content the first `size` bytes of another file. The system shares or copies the data by
    /// itself where it can.
    Result CopyFrom(int source, int64_t size);

private:
    void SyncName() const;
    void KeepMoreRoom(int64_t end);
    int64_t FreeBytes() const;

    UniqueFD descriptor;
    std::string path;
    std::atomic<bool> nameSynced = false;
    int64_t fileEnd = 0; // behind the last byte that was written
    int64_t keptEnd = 0; // room is kept up to here
    bool canKeepRoom = true;
    bool full = false; // no more room could be had
};

/// Reads bytes at a position; how many of them there were, which is fewer only at the end or after a failure.
size_t ReadAt(int descriptor, int64_t position, std::span<uint8_t> bytes);

/// Marks an open file as being written or repaired, until the descriptor is closed. False where another process has.
bool LockFile(int descriptor);

/// Creates a file at a full path and opens it. With `replace`, one that exists goes first: it is unlinked and not
/// emptied, so that a movie still being written to it comes to no harm. The creator code is kept as the extended
/// attribute "user.creator" where the file system has such attributes.
Result CreateOutputFile(const std::string& path, bool replace, FourCharCode creator, std::unique_ptr<DiskFile>& file);

} // namespace platform
