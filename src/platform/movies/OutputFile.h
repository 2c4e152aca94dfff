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

/// The platform's result code for a system error number.
Result ResultOfFileError(int error);

/// Receives the bytes of a movie. Tests substitute their own.
class OutputFile {
public:
    virtual ~OutputFile() = default;

    /// Writes all bytes at `position`.
    virtual Result Write(std::span<const uint8_t> bytes, int64_t position) = 0;

    /// Makes everything written so far durable: it survives a power failure when this returns.
    virtual Result Sync() = 0;

    /// Reserves disk space up to `end`, if possible, and returns the position up to which the file can grow.
    virtual int64_t Reserve(int64_t end) = 0;

    /// Releases the space reserved beyond the last byte.
    virtual void ReleaseReserved() {}
};

/// A file on disk.
class DiskFile : public OutputFile {
public:
    /// Takes over an open file. `path` is its path.
    DiskFile(UniqueFD opened, std::string path);

    Result Write(std::span<const uint8_t> bytes, int64_t position) override;
    Result Sync() override;
    int64_t Reserve(int64_t end) override;
    void ReleaseReserved() override;

    /// Locks the file as being written, until it is closed. Returns false if another process has locked it.
    bool Lock();

    /// Copies the first `size` bytes of another file into this one. The system shares or copies the data itself if it
    /// can.
    Result CopyFrom(int source, int64_t size);

private:
    void SyncName() const;
    void ReserveMore(int64_t end);
    int64_t FreeBytes() const;

    UniqueFD descriptor;
    std::string path;
    std::atomic<bool> nameSynced = false;
    int64_t fileEnd = 0;     // end of the bytes written
    int64_t reservedEnd = 0; // end of the reserved space
    bool canReserve = true;
    bool full = false; // no more space could be reserved
};

/// Whether opening a movie file succeeded; call it right after `open`. Sets `size` to the file's size in bytes. Returns
/// `fnfErr` if the file does not exist, `invalidMovie` if it is not a regular file, otherwise the result for `errno`.
Result CheckOpened(const UniqueFD& opened, int64_t& size);

/// Reads bytes at a position and returns how many; fewer than requested only at the end or after a failure.
size_t ReadAt(int descriptor, int64_t position, std::span<uint8_t> bytes);

/// Locks an open file as being written or repaired, until the descriptor is closed. False if another process has.
bool LockFile(int descriptor);

/// Creates and opens a file at a full path. With `replace`, an existing file is unlinked first and not truncated, so
/// that a movie still being written to it is not damaged. The creator code is stored as the extended attribute
/// "user.creator" if the file system has such attributes.
Result CreateOutputFile(const std::string& path, bool replace, FourCharCode creator, std::unique_ptr<DiskFile>& file);

} // namespace platform
