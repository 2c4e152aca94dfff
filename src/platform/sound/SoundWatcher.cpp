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

struct Watched {
    std::mutex mutex;
    std::vector<int> descriptors;
};

// Lives to the end of the process: the sound server's thread may note a change at any time.
Watched& TheWatched()
{
    static auto* watched = new Watched;
    return *watched;
}

} // namespace

SoundWatcher::SoundWatcher() : descriptor(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC))
{
    const std::lock_guard lock(TheWatched().mutex);
    TheWatched().descriptors.push_back(descriptor);
}

SoundWatcher::~SoundWatcher()
{
    {
        const std::lock_guard lock(TheWatched().mutex);
        auto& descriptors = TheWatched().descriptors;
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
    const std::lock_guard lock(TheWatched().mutex);
    for (const int descriptor : TheWatched().descriptors)
        eventfd_write(descriptor, 1);
}

bool SoundSourcesAreWatched()
{
    const std::lock_guard lock(TheWatched().mutex);
    return !TheWatched().descriptors.empty();
}

} // namespace platform
