#include "platform/movies/OutputFile.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <vector>

namespace platform {
OwnedDescriptor::~OwnedDescriptor()
{
    if (descriptor >= 0)
        close(descriptor);
}

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

DiskFile::DiskFile(OwnedDescriptor opened, std::string where) : descriptor(std::move(opened)), path(std::move(where)) {}

Result DiskFile::Write(std::span<const uint8_t> bytes, int64_t position)
{
    while (!bytes.empty()) {
        const ssize_t written = pwrite(descriptor.Get(), bytes.data(), bytes.size(), position);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return written == 0 ? ioErr : ResultOfFileError(errno);
        position += written;
        bytes = bytes.subspan(static_cast<size_t>(written));
    }
    return noErr;
}

Result DiskFile::Sync()
{
    if (fdatasync(descriptor.Get()) != 0)
        return ResultOfFileError(errno);
    if (!nameSynced.exchange(true))
        SyncName();
    return noErr;
}

// A new file's name is an entry of its folder, which has to reach the disk as well. Once is enough.
void DiskFile::SyncName() const
{
    const std::string folder = path.substr(0, path.rfind('/') + 1);
    const OwnedDescriptor opened(open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (opened.IsOpen())
        fsync(opened.Get());
}

Result DiskFile::CopyFrom(int source, int64_t size)
{
    if (ioctl(descriptor.Get(), FICLONE, source) == 0)
        return ftruncate(descriptor.Get(), size) == 0 ? noErr : ResultOfFileError(errno);
    loff_t copied = 0;
    while (copied < size) {
        loff_t from = copied;
        if (copy_file_range(source, &from, descriptor.Get(), &copied, static_cast<size_t>(size - copied), 0) <= 0)
            break;
    }
    // The system may not copy between these two files; what it refuses for another reason fails again here.
    std::vector<uint8_t> buffer(size_t{1} << 20);
    while (copied < size) {
        const auto part = std::min<size_t>(buffer.size(), static_cast<size_t>(size - copied));
        const ssize_t count = pread(source, buffer.data(), part, copied);
        if (count <= 0)
            return count == 0 ? ioErr : ResultOfFileError(errno);
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
        return ResultOfFileError(errno);
    OwnedDescriptor opened(open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (!opened.IsOpen())
        return ResultOfFileError(errno);
    // Not every file system has attributes, and a movie without one is no worse.
    const std::string code = TextOf(creator);
    static_cast<void>(fsetxattr(opened.Get(), "user.creator", code.data(), code.size(), 0));
    file = std::make_unique<DiskFile>(std::move(opened), path);
    return noErr;
}

} // namespace platform
