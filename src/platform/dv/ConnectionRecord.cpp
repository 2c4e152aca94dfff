// SPDX-License-Identifier: MIT
#include "platform/dv/ConnectionRecord.h"

#include "platform/dv/FireWireUnits.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace platform {

std::optional<HeldConnection> ConnectionRecord::Claim(uint64_t guid)
{
    file = nullptr;
    char name[48];
    std::snprintf(name, sizeof name, "velmora-firewire-%016llx", static_cast<unsigned long long>(guid));
    const auto folder = FireWireRuntimeFolder();
    const int descriptor =
        folder.empty() ? -1 : open((folder / name).c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (descriptor < 0)
        return std::nullopt;
    file.reset(fdopen(descriptor, "r+"));
    if (!file || flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        file = nullptr;
        return std::nullopt;
    }
    HeldConnection held;
    return pread(descriptor, &held, sizeof held, 0) == sizeof held ? std::optional(held) : std::nullopt;
}

void ConnectionRecord::Note(const HeldConnection& held)
{
    if (file && pwrite(fileno(file.get()), &held, sizeof held, 0) != sizeof held)
        Clear();
}

void ConnectionRecord::Clear()
{
    if (file && ftruncate(fileno(file.get()), 0) == 0)
        file = nullptr;
}

} // namespace platform
