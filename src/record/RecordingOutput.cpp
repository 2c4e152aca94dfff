// SPDX-License-Identifier: MIT
// The output of a recording.
//
// The temporary plain name is in `/proc/self/fd/N`, where N is the folder's descriptor. That path consists of plain
// letters, whatever the folder's name is.
#include "record/RecordingOutput.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <string_view>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace velmora {
namespace {

constexpr size_t kMaxNameForControl = 62;               // a file record has 62 bytes after the length byte
constexpr unsigned long long kMinFreeBytes = 4'000'000; // for some frames and the movie's header

bool IsPlainAscii(const std::string& text)
{
    return std::ranges::all_of(text, [](char c) { return c >= ' ' && c <= '~' && c != '\\'; });
}

std::string TextOfError(int error)
{
    switch (error) {
    case ENOENT:
        return "there is no such folder";
    case ENOTDIR:
        return "its folder is a file";
    case EACCES:
    case EPERM:
        return "permission denied";
    case EROFS:
        return "the file system is read-only";
    case ENAMETOOLONG:
        return "the name is too long";
    case ENOSPC:
    case EDQUOT:
        return "the disk is full";
    default:
        return std::strerror(error);
    }
}

// Null for a regular file.
const char* SpecialKind(mode_t mode)
{
    switch (mode & S_IFMT) {
    case S_IFREG:
        return nullptr;
    case S_IFDIR:
        return "is a folder";
    case S_IFLNK:
        return "is a broken link";
    case S_IFIFO:
        return "is a pipe; a movie needs a file";
    case S_IFSOCK:
        return "is a socket; a movie needs a file";
    default:
        return "is a device; a movie needs a file";
    }
}

} // namespace

RecordingOutput::RecordingOutput(std::string given) : path(std::move(given))
{
    // Replace the target of a symbolic link, not the link.
    const std::unique_ptr<char, decltype(&std::free)> real(realpath(path.c_str(), nullptr), &std::free);
    if (real)
        path = real.get();
    name = path.substr(path.rfind('/') + 1);
}

RecordingOutput::~RecordingOutput()
{
    if (folder >= 0)
        close(folder);
}

RecordingOutput::Refusal RecordingOutput::Check(bool replace, std::string& problem)
{
    Refusal refusal = CheckFolder(problem);
    if (refusal == Refusal::None)
        refusal = CheckFile(replace, problem);
    return refusal == Refusal::None ? CheckSpace(problem) : refusal;
}

RecordingOutput::Refusal RecordingOutput::RefuseFor(int error, std::string& problem) const
{
    problem = "can't write " + path + ": " + TextOfError(error);
    return error == ENOSPC || error == EDQUOT ? Refusal::DiskFull : Refusal::Unwritable;
}

RecordingOutput::Refusal RecordingOutput::CheckFolder(std::string& problem)
{
    const std::string parent = path.substr(0, path.size() - name.size());
    folder = open(parent.empty() ? "." : parent.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    return folder < 0 ? RefuseFor(errno, problem) : Refusal::None;
}

RecordingOutput::Refusal RecordingOutput::CheckFile(bool replace, std::string& problem) const
{
    if (name.find('\\') != std::string::npos) {
        problem = path + ": a movie's name can't contain a backslash";
        return Refusal::Unwritable;
    }
    struct stat found {};
    if (fstatat(folder, name.empty() ? "." : name.c_str(), &found, AT_SYMLINK_NOFOLLOW) != 0)
        return errno == ENOENT ? CheckCreation(problem) : RefuseFor(errno, problem);
    if (const char* const kind = SpecialKind(found.st_mode)) {
        problem = path + " " + kind;
        return Refusal::Unwritable;
    }
    if (!replace) {
        problem = path + " exists; --force replaces it";
        return Refusal::Unwritable;
    }
    return faccessat(folder, ".", W_OK | X_OK, AT_EACCESS) == 0 ? Refusal::None : RefuseFor(errno, problem);
}

// Creates and removes the file, which is the only reliable test.
RecordingOutput::Refusal RecordingOutput::CheckCreation(std::string& problem) const
{
    const int file = openat(folder, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (file < 0)
        return RefuseFor(errno, problem);
    close(file);
    unlinkat(folder, name.c_str(), 0);
    return Refusal::None;
}

RecordingOutput::Refusal RecordingOutput::CheckSpace(std::string& problem) const
{
    struct statvfs disk {};
    if (fstatvfs(folder, &disk) != 0 || disk.f_blocks == 0)
        return Refusal::None;
    return static_cast<unsigned long long>(disk.f_bavail) * disk.f_frsize < kMinFreeBytes ? RefuseFor(ENOSPC, problem)
                                                                                          : Refusal::None;
}

bool RecordingOutput::NeedsPlainName() const
{
    return name.size() > kMaxNameForControl || !IsPlainAscii(path);
}

std::string RecordingOutput::PathForControl() const
{
    if (!NeedsPlainName())
        return path;
    return "/proc/self/fd/" + std::to_string(folder) + "/velmora-" + std::to_string(getpid()) + ".mov";
}

bool RecordingOutput::TakeName(std::string& problem) const
{
    const std::string made = PathForControl();
    if (access(made.c_str(), F_OK) == 0 &&
        (!NeedsPlainName() || renameat(AT_FDCWD, made.c_str(), folder, name.c_str()) == 0))
        return true;
    RefuseFor(errno, problem);
    return false;
}

} // namespace velmora
