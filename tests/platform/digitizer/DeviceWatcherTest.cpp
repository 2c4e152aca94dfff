#include "platform/digitizer/DeviceWatcher.h"

#include <fstream>
#include <gtest/gtest.h>
#include <poll.h>

using namespace platform;

namespace {

bool IsReadable(const DeviceWatcher& watcher, int milliseconds)
{
    pollfd descriptor{watcher.Descriptor(), POLLIN, 0};
    return poll(&descriptor, 1, milliseconds) > 0;
}

TEST(DeviceWatcher, HasNothingToTellWhileNothingHappens)
{
    DeviceWatcher watcher;
    ASSERT_GE(watcher.Descriptor(), 0);
    EXPECT_FALSE(IsReadable(watcher, 0));
    EXPECT_TRUE(watcher.Read().empty());
}

// The kernel repeats the event of a device on demand. Every machine has the null device, and a change of it is
// harmless.
TEST(DeviceWatcher, TellsTheEventsOfItsSubsystemAlone)
{
    DeviceWatcher memory("mem");
    DeviceWatcher video;
    std::ofstream file("/sys/class/mem/null/uevent");
    if (!(file << "change" << std::flush))
        GTEST_SKIP() << "the machine lets nobody send device events";
    if (!IsReadable(memory, 5000))
        GTEST_SKIP() << "the machine keeps device events from this process";
    const auto events = memory.Read();
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].kind, DeviceWatcher::Event::Kind::Changed);
    EXPECT_EQ(events[0].node, "/dev/null");
    EXPECT_TRUE(video.Read().empty());
}

} // namespace
