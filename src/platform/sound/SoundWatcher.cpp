// SPDX-License-Identifier: MIT
#include "platform/sound/SoundWatcher.h"

#include <algorithm>
#include <cstdint>
#include <mutex>
#include <sys/eventfd.h>
#include <unistd.h>
#include <vector>

namespace platform {
namespace {

struct Watchers {
    // Never destroyed: the sound server's thread may report a change at any time.
    static Watchers& Instance()
    {
        static auto* watchers = new Watchers;
        return *watchers;
    }

    std::mutex mutex;
    std::vector<int> descriptors;
};

} // namespace

SoundWatcher::SoundWatcher() : descriptor(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC))
{
    const std::lock_guard lock(Watchers::Instance().mutex);
    Watchers::Instance().descriptors.push_back(descriptor);
}

SoundWatcher::~SoundWatcher()
{
    {
        const std::lock_guard lock(Watchers::Instance().mutex);
        auto& descriptors = Watchers::Instance().descriptors;
        descriptors.erase(std::ranges::find(descriptors, descriptor));
    }
    if (descriptor >= 0)
        close(descriptor);
}

bool SoundWatcher::TakeChange()
{
    uint64_t changes = 0;
    return read(descriptor, &changes, sizeof changes) == sizeof changes;
}

void NoteSoundSourcesChanged()
{
    const std::lock_guard lock(Watchers::Instance().mutex);
    for (const int descriptor : Watchers::Instance().descriptors)
        eventfd_write(descriptor, 1);
}

bool SoundSourcesAreWatched()
{
    const std::lock_guard lock(Watchers::Instance().mutex);
    return !Watchers::Instance().descriptors.empty();
}

} // namespace platform
