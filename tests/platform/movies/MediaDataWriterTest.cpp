// SPDX-License-Identifier: MIT
// The writing threads and the storage above them, with a disk whose behaviour the test decides.
#include "platform/movies/MediaDataWriter.h"
#include "RecordedMovie.h"
#include "platform/movies/FinishMovie.h"
#include "platform/movies/MovieStorage.h"
#include "platform/movies/SampleDescriptions.h"
#include "support/Await.h"

#include <future>
#include <gtest/gtest.h>

using namespace platform;
using namespace movietest;

namespace {

struct Disk {
    std::mutex mutex;
    Bytes content;
    std::string order; // of what was done: 'a' bytes at the end, 'o' bytes over others, 's' a sync
    std::promise<void> stallEnds;
    int syncsThatWork = 1000;
    int64_t room = INT64_MAX;
    bool closed = false;
};

class SimulatedFile : public OutputFile {
public:
    explicit SimulatedFile(Disk& simulated) : disk(simulated), stallEnds(disk.stallEnds.get_future()) {}

    Result Write(std::span<const uint8_t> bytes, int64_t position) override
    {
        if (stallEnds.valid())
            stallEnds.get();
        const std::lock_guard lock(disk.mutex);
        disk.order += static_cast<size_t>(position) < disk.content.size() ? 'o' : 'a';
        disk.content.resize(std::max(disk.content.size(), static_cast<size_t>(position) + bytes.size()));
        std::ranges::copy(bytes, disk.content.begin() + position);
        return noErr;
    }

    Result Sync() override
    {
        const std::lock_guard lock(disk.mutex);
        disk.order += 's';
        return disk.syncsThatWork-- > 0 ? noErr : ioErr;
    }
    int64_t Reserve(int64_t) override { return disk.room; }
    ~SimulatedFile() override { disk.closed = true; }

private:
    Disk& disk;
    std::future<void> stallEnds;
};

constexpr int64_t kMegabyte = int64_t{1} << 20;

TEST(MovieStorage, FinishesInTheBackgroundAndThenClosesItsFile)
{
    Disk disk;
    const auto storage = std::make_shared<MovieStorage>(std::make_unique<SimulatedFile>(disk), "Take.mov", 0);
    SetMovieFinishHandler([](const std::string&, int64_t, int64_t) { return false; });
    EXPECT_EQ(FinishMovie(storage), noErr);
    SetMovieFinishHandler(nullptr);
    EXPECT_EQ(storage->Close(), noErr);
    EXPECT_TRUE(TakeFinishedMovies().empty());
    EXPECT_FALSE(disk.closed);
    disk.stallEnds.set_value();
    WaitForFinishingMovies();
    const auto finished = TakeFinishedMovies();
    ASSERT_EQ(finished.size(), 1U);
    EXPECT_EQ(finished[0].result, noErr);
    // Whoever still refers to the movie doesn't keep the file open.
    EXPECT_TRUE(disk.closed);
    EXPECT_TRUE(FinishingMovies().empty());
}

TEST(MediaDataWriter, TakesSamplesWhileTheDiskStalls)
{
    Disk disk;
    Bytes all;
    MediaDataWriter writer(std::make_unique<SimulatedFile>(disk), 0, 45 * kMegabyte);
    // Nothing reaches the disk until the stall ends, so each call must come back without it.
    for (uint32_t i = 0; i < 40; ++i) {
        const Bytes sample = Noise(static_cast<size_t>(kMegabyte) + i, i);
        ASSERT_TRUE(writer.WaitForSpace(kMegabyte));
        ASSERT_EQ(writer.Append(sample), noErr);
        all.insert(all.end(), sample.begin(), sample.end());
    }
    EXPECT_FALSE(writer.WaitForSpace(6 * kMegabyte));
    EXPECT_EQ(writer.Waiting(), static_cast<int64_t>(all.size()));
    writer.Overwrite(Bytes(3, 7), 5);
    std::fill_n(all.begin() + 5, 3, uint8_t{7});
    disk.stallEnds.set_value();
    EXPECT_EQ(writer.Flush(), noErr);
    EXPECT_EQ(writer.Waiting(), 0);
    EXPECT_TRUE(disk.content == all);
}

// What is written over earlier bytes refers to the stream, which a power failure must not leave behind it. Each
// correction waits for its own sync, also when the one before has long been written.
TEST(MediaDataWriter, EachCorrectionGetsItsSync)
{
    Disk disk;
    disk.stallEnds.set_value();
    MediaDataWriter writer(std::make_unique<SimulatedFile>(disk), 0);
    for (std::string order = "aso"; order.size() <= 15; order += "aso") {
        ASSERT_EQ(writer.Append(Bytes(1000, 1)), noErr);
        writer.Overwrite(Bytes(8, 2), 0);
        ASSERT_TRUE(Await([&] {
            const std::lock_guard lock(disk.mutex);
            return disk.order == order;
        })) << disk.order;
    }
}

// The last bytes say that the file is complete: behind a sync of the rest, and with one of their own.
TEST(MediaDataWriter, TheEndReportsEachSyncThatFails)
{
    for (const int works : {0, 1, 2}) {
        Disk disk;
        disk.stallEnds.set_value();
        disk.syncsThatWork = works;
        MediaDataWriter writer(std::make_unique<SimulatedFile>(disk), 0);
        ASSERT_EQ(writer.Append(Bytes(1000, 1)), noErr);
        writer.Finish(Bytes(8, 2), 0);
        ASSERT_TRUE(writer.WaitForFinish(std::chrono::seconds(20)));
        EXPECT_EQ(writer.Failure(), works < 2 ? ioErr : noErr) << works;
        EXPECT_EQ(disk.order, works == 0 ? "as" : "asos");
    }
}

// A storage with one video track, on the simulated disk.
struct StorageOnDisk {
    explicit StorageOnDisk(Disk& disk, int64_t bufferLimit = 0)
        : storage(std::make_unique<SimulatedFile>(disk), "/simulated.mov", 0, bufferLimit)
    {
        TrackContents track;
        track.mediaType = kVideoMediaType;
        track.timeScale = 600;
        track.descriptions.resize(1);
        FileFormOfDescription(kVideoMediaType, ImageRecord("jpeg", 64, 48), {}, track.descriptions[0]);
        storage.Contents().tracks.push_back(track);
    }

    Result AddFrame(int64_t size)
    {
        SampleRun run;
        run.duration = 20;
        return storage.AddSamples(Bytes(static_cast<size_t>(size), 1), run);
    }

    Result Finish()
    {
        storage.Finish();
        while (!storage.WaitForFinish(std::chrono::seconds(10))) {
        }
        return storage.Progress().result;
    }

    MovieStorage storage;
};

TEST(MovieStorage, AFrameThatTheBufferCannotHoldRepeatsTheOneBefore)
{
    Disk disk;
    StorageOnDisk movie(disk, 8 * kMegabyte);
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(movie.AddFrame(kMegabyte), noErr) << i;
    const MovieStorageStatus status = movie.storage.Status();
    EXPECT_GE(status.framesLost, 12);
    EXPECT_LE(status.waitingBytes, 9 * kMegabyte);
    EXPECT_EQ(movie.storage.Contents().tracks[0].duration, 20 * 20) << "time advances";
    EXPECT_EQ(movie.storage.Contents().tracks[0].samples, 20);
    disk.stallEnds.set_value();
    EXPECT_EQ(movie.Finish(), noErr);
}

TEST(MovieStorage, TakesWhatTheDiskHasRoomForAndFinishes)
{
    Disk disk;
    disk.stallEnds.set_value();
    disk.room = 10 * kMegabyte;
    StorageOnDisk movie(disk);
    int taken = 0;
    while (movie.AddFrame(kMegabyte) == noErr)
        ++taken;
    EXPECT_EQ(taken, 9);
    EXPECT_EQ(movie.AddFrame(1), dskFulErr) << "no gap in the movie";
    EXPECT_EQ(movie.storage.Status().failure, dskFulErr);
    EXPECT_EQ(movie.Finish(), noErr);
    EXPECT_LE(static_cast<int64_t>(disk.content.size()), disk.room);
}

} // namespace
