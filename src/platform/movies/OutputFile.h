#pragma once

#include "platform/memory/FourCharCode.h"
#include "platform/memory/ResultCodes.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <utility>

namespace platform {

/// A file descriptor that is closed with its owner.
class OwnedDescriptor {
public:
    OwnedDescriptor() = default;
    explicit OwnedDescriptor(int opened) : descriptor(opened) {}
    OwnedDescriptor(OwnedDescriptor&& other) noexcept : descriptor(std::exchange(other.descriptor, -1)) {}
    OwnedDescriptor& operator=(OwnedDescriptor&& other) noexcept
    {
        std::swap(descriptor, other.descriptor);
        return *this;
    }
    ~OwnedDescriptor();

    int Get() const { return descriptor; }
    bool IsOpen() const { return descriptor >= 0; }

private:
    int descriptor = -1;
};

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
};

/// A file on disk.
class DiskFile : public OutputFile {
public:
    /// Takes over an open file. `path` is where it lies.
    DiskFile(OwnedDescriptor opened, std::string path);

    Result Write(std::span<const uint8_t> bytes, int64_t position) override;
    Result Sync() override;

    /// Makes the file's content the first `size` bytes of another file. The system shares or copies the data by
    /// itself where it can.
    Result CopyFrom(int source, int64_t size);

private:
    void SyncName() const;

    OwnedDescriptor descriptor;
    std::string path;
    std::atomic<bool> nameSynced = false;
};

/// Creates a file at a full path and opens it. With `replace`, one that exists goes first: it is unlinked and not
/// emptied, so that a movie still being written to it comes to no harm. The creator code is kept as the extended
/// attribute "user.creator" where the file system has such attributes.
Result CreateOutputFile(const std::string& path, bool replace, FourCharCode creator, std::unique_ptr<DiskFile>& file);

} // namespace platform
