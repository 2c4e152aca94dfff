// SPDX-License-Identifier: MIT
#include "platform/dv/ConnectionRecord.h"

#include "platform/dv/FireWireUnits.h"
#include "platform/log/Log.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>

namespace platform {

std::optional<HeldConnection> ConnectionRecord::Claim(uint64_t guid)
{
    file.Reset();
    const auto folder = FireWireRuntimeFolder();
    if (folder.empty())
        return std::nullopt;
    const auto path = folder / ("velmora-firewire-" + GuidText(guid));
    UniqueFD opened(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!opened || flock(opened.Get(), LOCK_EX | LOCK_NB) != 0) {
        digitizerLog.Debug("FireWire: record ", path.string(), ": ", ErrorText(errno));
        return std::nullopt;
    }
    file = std::move(opened);
    HeldConnection held;
    return pread(file.Get(), &held, sizeof held, 0) == sizeof held ? std::optional(held) : std::nullopt;
}

void ConnectionRecord::Write(const HeldConnection& held)
{
    if (file && pwrite(file.Get(), &held, sizeof held, 0) != sizeof held)
        Clear();
}

void ConnectionRecord::Clear()
{
    if (file && ftruncate(file.Get(), 0) != 0)
        digitizerLog.Warning("FireWire: record of a connection: ", ErrorText(errno));
    file.Reset();
}

} // namespace platform
