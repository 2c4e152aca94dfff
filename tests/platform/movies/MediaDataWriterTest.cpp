// The writing threads, with a disk whose behaviour the test decides.

#include "platform/movies/MediaDataWriter.h"
#include "RecordedMovie.h"

#include <atomic>
#include <csignal>
#include <future>
#include <gtest/gtest.h>
#include <sys/resource.h>

using namespace platform;
using namespace movietest;

namespace {

struct Disk {
    std::mutex mutex;
    Bytes content;
    Result writeResult = noErr;
    Result syncResult = noErr;
    std::atomic<int> syncs = 0;
    std::promise<void> stallEnds;
};

class SimulatedFile : public OutputFile {
public:
    SimulatedFile(Disk& simulated, bool stalls) : disk(simulated)
    {
        if (stalls)
            stallEnds = disk.stallEnds.get_future();
    }

    Result Write(std::span<const uint8_t> bytes, int64_t position) override
    {
        if (stallEnds.valid())
            stallEnds.get();
        const std::lock_guard lock(disk.mutex);
        if (disk.writeResult != noErr)
            return disk.writeResult;
        disk.content.resize(std::max(disk.content.size(), static_cast<size_t>(position) + bytes.size()));
        std::ranges::copy(bytes, disk.content.begin() + position);
        return noErr;
    }

    Result Sync() override
    {
        ++disk.syncs;
        return disk.syncResult;
    }

private:
    Disk& disk;
    std::future<void> stallEnds;
};

constexpr int64_t kMegabyte = int64_t{1} << 20;

TEST(MediaDataWriter, TakesSamplesWhileTheDiskStalls)
{
    Disk disk;
    Bytes all;
    MediaDataWriter writer(std::make_unique<SimulatedFile>(disk, true), 0, 200 * kMegabyte);
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

TEST(MediaDataWriter, WaitsWhereTheBufferIsFullAndLosesNothing)
{
    Disk disk;
    Bytes all;
    MediaDataWriter writer(std::make_unique<SimulatedFile>(disk, true), 0, 2 * kMegabyte);
    std::atomic<int> added = 0;
    std::thread recording([&] {
        for (uint32_t i = 0; i < 40; ++i) {
            // One of the samples is larger than the buffer.
            const Bytes sample = Noise(i == 20 ? 5 * kMegabyte : 300000, i);
            all.insert(all.end(), sample.begin(), sample.end());
            EXPECT_EQ(writer.Append(sample), noErr);
            ++added;
        }
    });
    while (added < 6)
        std::this_thread::yield();
    EXPECT_LE(writer.Waiting(), 2 * kMegabyte);
    disk.stallEnds.set_value();
    recording.join();
    EXPECT_EQ(writer.Flush(), noErr);
    EXPECT_TRUE(disk.content == all);
}

TEST(MediaDataWriter, FailuresOfTheThreadsReachTheCaller)
{
    for (const bool ofSync : {false, true}) {
        Disk disk;
        (ofSync ? disk.syncResult : disk.writeResult) = ofSync ? ioErr : dskFulErr;
        MediaDataWriter writer(std::make_unique<SimulatedFile>(disk, false), 0);
        Result result = noErr;
        while (result == noErr) {
            result = writer.Append(Noise(100000, 1));
            writer.RequestSync();
        }
        EXPECT_EQ(result, ofSync ? ioErr : dskFulErr);
        EXPECT_EQ(writer.Append({}), result) << "and every later one";
        EXPECT_EQ(writer.Flush(), result);
    }
}

TEST(MediaDataWriter, MakesDataDurableWhenAsked)
{
    Disk disk;
    {
        MediaDataWriter writer(std::make_unique<SimulatedFile>(disk, false), 0);
        ASSERT_EQ(writer.Append(Noise(100, 1)), noErr);
        EXPECT_EQ(writer.Flush(), noErr);
        EXPECT_EQ(disk.syncs, 0);
        ASSERT_EQ(writer.Append(Noise(100, 2)), noErr);
        writer.RequestSync();
        while (disk.syncs == 0)
            std::this_thread::yield();
        ASSERT_EQ(writer.Append(Noise(100, 3)), noErr);
    }
    EXPECT_EQ(disk.content.size(), 300U) << "what waits at the end is written";
}

TEST(MediaDataWriter, AFileThatMayNotGrowEndsNoProcess)
{
    const TemporaryFolder folder;
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit small{static_cast<rlim_t>(kMegabyte), before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    RecordedMovie movie(folder / "a.mov");
    Result result = noErr;
    for (int i = 0; i < 100 && result == noErr; ++i)
        result = movie.AddVideo(Noise(100000, 1), ImageRecord("jpeg", 64, 48), 20);
    // Whether a call met it or not, the movie can't be finished.
    EXPECT_EQ(movie.Finish(), dskFulErr);
    EXPECT_EQ(movie.Close(), dskFulErr);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
    EXPECT_GE(ReadFile(folder / "a.mov").size(), 900000U) << "what was written stays";
}

} // namespace
