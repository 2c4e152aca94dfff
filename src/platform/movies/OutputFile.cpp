// SPDX-License-Identifier: MIT
#include "platform/movies/OutputFile.h"

#include "platform/log/Log.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <vector>

namespace platform {
namespace {

// The maximum file size allowed for this process.
int64_t AllowedFileSize()
{
    rlimit limit{};
    if (getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur > static_cast<rlim_t>(INT64_MAX))
        return INT64_MAX;
    return static_cast<int64_t>(limit.rlim_cur);
}

} // namespace

Result ResultOfFileError(int error)
{
    switch (error) {
    case EACCES:
    case EPERM:
    case EROFS:
    case ETXTBSY:
        return permErr;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
        return dskFulErr;
    case ENOENT:
    case ENOTDIR:
        return dirNFErr;
    case EEXIST:
    case EISDIR:
        return dupFNErr;
    case ENAMETOOLONG:
    case EINVAL:
    case ELOOP:
        return bdNamErr;
    default:
        return ioErr;
    }
}

namespace {

// The result of a system call that has just failed.
Result FailureOf(const char* call, const std::string& path)
{
    const int error = errno;
    moviesLog.Warning(path, ": ", call, ": ", ErrorText(error));
    return ResultOfFileError(error);
}

} // namespace

DiskFile::DiskFile(UniqueFD opened, std::string where) : descriptor(std::move(opened)), path(std::move(where)) {}

Result DiskFile::Write(std::span<const uint8_t> bytes, int64_t position)
{
    while (!bytes.empty()) {
        const ssize_t written = pwrite(descriptor.Get(), bytes.data(), bytes.size(), position);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return written == 0 ? ioErr : FailureOf("pwrite", path);
        position += written;
        fileEnd = std::max(fileEnd, position);
        bytes = bytes.subspan(static_cast<size_t>(written));
    }
    return noErr;
}

Result DiskFile::Sync()
{
    if (fdatasync(descriptor.Get()) != 0)
        return FailureOf("fdatasync", path);
    if (!nameSynced.exchange(true))
        SyncName();
    return noErr;
}

// A new file's name is an entry of its folder, which must be synced as well. Once is enough.
void DiskFile::SyncName() const
{
    const std::string folder = path.substr(0, path.rfind('/') + 1);
    const UniqueFD opened(open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (opened)
        fsync(opened.Get());
}

int64_t DiskFile::Reserve(int64_t end)
{
    if (canReserve && end > reservedEnd)
        ReserveMore(end);
    const int64_t writable = full ? reservedEnd : std::max(reservedEnd, fileEnd) + FreeBytes();
    return std::min(writable, AllowedFileSize());
}

// Reserves in large steps, since each call costs the file system some work, until the disk is full.
void DiskFile::ReserveMore(int64_t end)
{
    constexpr int64_t kMaxStep = int64_t{64} << 20;
    constexpr int64_t kMinStep = int64_t{64} << 10;
    full = false;
    for (int64_t step = kMaxStep; step >= kMinStep; step /= 4) {
        const int64_t start = std::max(reservedEnd, fileEnd);
        const int64_t size = end > reservedEnd + step ? end + step - start : step;
        if (fallocate(descriptor.Get(), FALLOC_FL_KEEP_SIZE, start, size) == 0) {
            reservedEnd = start + size;
            return;
        }
        if (FailureOf("fallocate", path) != dskFulErr) {
            canReserve = false; // not supported by every file system
            return;
        }
    }
    full = true;
}

int64_t DiskFile::FreeBytes() const
{
    struct statvfs disk {};
    if (fstatvfs(descriptor.Get(), &disk) != 0)
        return INT64_MAX / 2;
    return static_cast<int64_t>(disk.f_bavail) * static_cast<int64_t>(disk.f_frsize);
}

void DiskFile::ReleaseReserved()
{
    // Truncating to the same size frees what is reserved beyond it.
    if (ftruncate(descriptor.Get(), fileEnd) == 0)
        reservedEnd = fileEnd;
}

bool DiskFile::Lock()
{
    return LockFile(descriptor.Get());
}

Result CheckOpened(const UniqueFD& opened, int64_t& size)
{
    if (!opened)
        return errno == ENOENT || errno == ENOTDIR ? fnfErr : ResultOfFileError(errno);
    struct stat status {};
    if (fstat(opened.Get(), &status) != 0)
        return ResultOfFileError(errno);
    size = status.st_size;
    return S_ISREG(status.st_mode) ? noErr : invalidMovie;
}

size_t ReadAt(int descriptor, int64_t position, std::span<uint8_t> bytes)
{
    size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count =
            pread(descriptor, bytes.data() + done, bytes.size() - done, position + static_cast<int64_t>(done));
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            break;
        done += static_cast<size_t>(count);
    }
    return done;
}

bool LockFile(int descriptor)
{
    return flock(descriptor, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
}

Result DiskFile::CopyFrom(int source, int64_t size)
{
    if (ioctl(descriptor.Get(), FICLONE, source) == 0)
        return ftruncate(descriptor.Get(), size) == 0 ? noErr : FailureOf("ftruncate", path);
    loff_t copied = 0;
    while (copied < size) {
        loff_t from = copied;
        if (copy_file_range(source, &from, descriptor.Get(), &copied, static_cast<size_t>(size - copied), 0) <= 0)
            break;
    }
    // The system may not be able to copy between these two files; any other failure is repeated here.
    std::vector<uint8_t> buffer(size_t{1} << 20);
    while (copied < size) {
        const auto part = std::min<size_t>(buffer.size(), static_cast<size_t>(size - copied));
        const ssize_t count = pread(source, buffer.data(), part, copied);
        if (count <= 0)
            return count == 0 ? ioErr : FailureOf("pread", path);
        const Result result = Write(std::span(buffer).first(static_cast<size_t>(count)), copied);
        if (result != noErr)
            return result;
        copied += count;
    }
    return noErr;
}

Result CreateOutputFile(const std::string& path, bool replace, FourCharCode creator, std::unique_ptr<DiskFile>& file)
{
    if (replace && unlink(path.c_str()) != 0 && errno != ENOENT)
        return FailureOf("unlink", path);
    UniqueFD opened(open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (!opened)
        return FailureOf("open", path);
    // Not every file system has attributes, and a movie works without them.
    const std::string code = TextOf(creator);
    static_cast<void>(fsetxattr(opened.Get(), "user.creator", code.data(), code.size(), 0));
    file = std::make_unique<DiskFile>(std::move(opened), path);
    return noErr;
}

} // namespace platform
