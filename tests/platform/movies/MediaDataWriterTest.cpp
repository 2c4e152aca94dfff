// The writing threads, with a disk whose behaviour the test decides.

#include "platform/movies/MediaDataWriter.h"
#include "RecordedMovie.h"

#include <future>
#include <gtest/gtest.h>

using namespace platform;
using namespace movietest;

namespace {

struct Disk {
    std::mutex mutex;
    Bytes content;
    std::promise<void> stallEnds;
};

class SimulatedFile : public OutputFile {
public:
    explicit SimulatedFile(Disk& simulated) : disk(simulated), stallEnds(disk.stallEnds.get_future()) {}

    Result Write(std::span<const uint8_t> bytes, int64_t position) override
    {
        if (stallEnds.valid())
            stallEnds.get();
        const std::lock_guard lock(disk.mutex);
        disk.content.resize(std::max(disk.content.size(), static_cast<size_t>(position) + bytes.size()));
        std::ranges::copy(bytes, disk.content.begin() + position);
        return noErr;
    }

    Result Sync() override { return noErr; }

private:
    Disk& disk;
    std::future<void> stallEnds;
};

constexpr int64_t kMegabyte = int64_t{1} << 20;

TEST(MediaDataWriter, TakesSamplesWhileTheDiskStalls)
{
    Disk disk;
    Bytes all;
    MediaDataWriter writer(std::make_unique<SimulatedFile>(disk), 0, 200 * kMegabyte);
    // Nothing reaches the disk until the stall ends, so each call must come back without it.
    for (uint32_t i = 0; i < 40; ++i) {
        const Bytes sample = Noise(static_cast<size_t>(kMegabyte) + i, i);
        ASSERT_EQ(writer.Append(sample), noErr);
        all.insert(all.end(), sample.begin(), sample.end());
    }
    EXPECT_EQ(writer.Waiting(), static_cast<int64_t>(all.size()));
    disk.stallEnds.set_value();
    EXPECT_EQ(writer.Flush(), noErr);
    EXPECT_EQ(writer.Waiting(), 0);
    EXPECT_EQ(writer.End(), static_cast<int64_t>(all.size()));
    EXPECT_TRUE(disk.content == all);
}

} // namespace
