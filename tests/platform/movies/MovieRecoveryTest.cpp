// Recordings that were cut off, damaged or killed, and what is got back of them.

#include "platform/movies/MovieRecovery.h"
#include "RecordedMovie.h"
#include "platform/movies/MovieHeader.h"
#include "platform/movies/RecoveryJournal.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <gtest/gtest.h>
#include <random>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace platform;
using namespace movietest;

namespace {

const Bytes kPicture = ImageRecord("jpeg", 64, 48);
const Bytes kStereo = SoundRecord("sowt", 2, 16, 44100);
constexpr int kSoundFrames = 1470;

Bytes SoundOf(uint32_t frame)
{
    return Noise(kSoundFrames * 4, frame);
}

// Puts a movie together in memory, with a journal block behind every `interval` frames.
Bytes RecordingInMemory(int frames, int interval, std::vector<size_t>& blockStarts)
{
    MovieContents movie;
    movie.tracks.resize(2);
    for (size_t i = 0; i < 2; ++i) {
        movie.tracks[i].mediaType = i == 0 ? kVideoMediaType : kSoundMediaType;
        movie.tracks[i].timeScale = i == 0 ? 600 : 44100;
        movie.tracks[i].descriptions.push_back(Bytes(86, 7));
    }
    RecoveryJournal journal;
    Bytes file = FileHead(0);
    for (int i = 0; i < frames; ++i) {
        for (uint32_t track = 0; track < 2; ++track) {
            const SampleRun run{track, 0, true, 1, 20, static_cast<int64_t>(file.size()), 2000};
            file.resize(file.size() + 2000, static_cast<uint8_t>(i));
            movie.samples.Add(run);
            ++movie.tracks[track].samples;
            movie.tracks[track].duration += run.duration;
        }
        if ((i + 1) % interval == 0) {
            blockStarts.push_back(file.size());
            const auto block = journal.MakeBlock(movie, static_cast<int64_t>(file.size()));
            file.insert(file.end(), block.begin(), block.end());
        }
    }
    return file;
}

class MovieRecovery : public testing::Test {
protected:
    Result Recover(const Bytes& file)
    {
        WriteFile(folder / "cut.mov", file);
        unlink((folder / "cut recovered.mov").c_str());
        return RecoverMovie(folder / "cut.mov", "", found, written);
    }

    TemporaryFolder folder;
    RecoveredMovie found;
    std::string written;
};

TEST_F(MovieRecovery, EveryBeginningOfARecordingGivesAllItsWholeBlocks)
{
    std::vector<size_t> blocks;
    const Bytes file = RecordingInMemory(40, 4, blocks);
    std::vector<size_t> ends(blocks.begin() + 1, blocks.end());
    for (auto& end : ends)
        end -= 4 * 2 * 2000;
    ends.push_back(file.size());
    for (size_t size = 0; size <= file.size(); size += size % 971 + 1211) {
        const auto whole = static_cast<size_t>(std::ranges::count_if(ends, [&](size_t end) { return end <= size; }));
        const Result result = Recover(Bytes(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size)));
        ASSERT_EQ(result, whole == 0 ? invalidMovie : noErr) << size;
        if (whole > 0) {
            ASSERT_EQ(found.videoFrames, whole * 4) << size;
        }
    }
}

TEST_F(MovieRecovery, ADamagedBlockCostsItsOwnSamplesAndNoStep)
{
    std::vector<size_t> blocks;
    const Bytes file = RecordingInMemory(40, 4, blocks);
    for (size_t damaged = 0; damaged < blocks.size(); ++damaged) {
        for (const size_t at : {size_t{0}, size_t{20}, size_t{30}, kJournalHeadSize + 20}) {
            Bytes broken = file;
            broken[blocks[damaged] + at] ^= 0x10;
            // The descriptions stand in the first one.
            ASSERT_EQ(Recover(broken), damaged == 0 ? invalidMovie : noErr);
            if (damaged == 0)
                continue;
            const bool last = damaged + 1 == blocks.size();
            ASSERT_EQ(found.videoFrames, 36U);
            ASSERT_DOUBLE_EQ(found.seconds, (last ? 36 : 40) * 20 / 600.0) << "what comes behind keeps its time";
        }
    }
}

TEST_F(MovieRecovery, HostileNumbersUnderARightChecksumNeverHarm)
{
    std::minstd_rand random(2);
    int64_t taken = 0;
    for (int round = 0; round < 20000; ++round) {
        ByteWriter payload;
        payload.U64(0);
        payload.U32(0);
        payload.Number(2);
        for (const auto type : {kVideoMediaType, kSoundMediaType}) {
            payload.U32(type);
            for (int i = 0; i < 3; ++i)
                payload.Number(uint64_t{random()} << random() % 30);
            payload.U16(0);
            payload.Number(random() % 2 == 0 ? 0 : uint64_t{random()} << random() % 34);
            payload.Number(random() % 3);
            payload.Number(1);
            payload.Number(40);
            payload.Raw(Noise(40, static_cast<uint32_t>(round)));
        }
        for (int i = 0; i < 48; ++i) {
            const uint64_t numbers[] = {random() % 2, random() % 50, random() % 300000,
                                        uint64_t{random()} << random() % 33};
            payload.Number(i % 6 == 0 ? random() % 16 : numbers[random() % 4]);
        }
        JournalBlock block;
        block.position = 1 << 20;
        block.payload.assign(payload.Bytes().begin(), payload.Bytes().end());
        JournalReplay replay;
        replay.Add(block);
        replay.Add(block);
        ASSERT_LE(replay.MediaBytes(), block.position);
        taken += replay.MediaBytes();
        ASSERT_LT(MovieHeader(replay.TakeMovie()).size(), size_t{10} << 20);
    }
    EXPECT_GT(taken, 0) << "the numbers were never taken for samples";
}

TEST_F(MovieRecovery, GivesAFullDisksRecordingBack)
{
    const std::string disk = folder / "disk";
    mkdir(disk.c_str(), 0700);
    if (mount("tmpfs", disk.c_str(), "tmpfs", 0, "size=4m") != 0)
        GTEST_SKIP() << "needs the right to mount";
    RecordedMovie movie(disk + "/full.mov");
    ASSERT_EQ(movie.created, noErr);
    Result result = noErr;
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (result == noErr && std::chrono::steady_clock::now() < until) {
        result = movie.AddVideo(JpegFrame(64, 48, 1), kPicture, 20);
        if (result == noErr)
            result = movie.AddSound(SoundOf(1), kStereo, kSoundFrames);
        // A pace at which the disk takes some seconds to fill, and blocks of the journal are written.
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    EXPECT_EQ(result, dskFulErr);
    EXPECT_EQ(movie.Finish(), dskFulErr);
    EXPECT_EQ(movie.Close(), dskFulErr);
    EXPECT_EQ(RecoverMovie(disk + "/full.mov", "", found, written), dskFulErr);
    EXPECT_NE(access(written.c_str(), F_OK), 0) << "no half of a movie stays";
    EXPECT_EQ(RecoverMovie(disk + "/full.mov", folder / "out.mov", found, written), noErr);
    EXPECT_GE(found.videoFrames, 1U);
    EXPECT_EQ(OutputOf("ffmpeg -v error -i " + Quoted(written) + " -enc_time_base -1 -f null -"), "");
    umount(disk.c_str());
}

// Records in real time until it is killed. Tells how many frames it has added, and when, in memory that outlives it.
struct Progress {
    std::atomic<int> frames;
    std::atomic<int> framesASecondAgo;
};

[[noreturn]] void RecordUntilKilled(const std::string& path, Progress& progress)
{
    using Clock = std::chrono::steady_clock;
    RecordedMovie movie(path);
    std::vector<Clock::time_point> times;
    size_t old = 0;
    const auto start = Clock::now();
    for (int i = 0;; ++i) {
        if (movie.AddVideo(JpegFrame(64, 48, i), kPicture, 10 + i % 21) != noErr ||
            movie.AddSound(SoundOf(static_cast<uint32_t>(i)), kStereo, kSoundFrames) != noErr)
            _exit(1);
        times.push_back(Clock::now());
        progress.frames = i + 1;
        while (times[old] + std::chrono::seconds(1) <= Clock::now())
            ++old;
        progress.framesASecondAgo = static_cast<int>(old);
        std::this_thread::sleep_until(start + (i + 1) * std::chrono::microseconds(33333));
    }
}

TEST_F(MovieRecovery, AKilledRecordingLosesLessThanItsLastSecond)
{
    auto* progress = static_cast<Progress*>(
        mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    std::random_device seed;
    std::mt19937 random(seed());
    for (int round = 0; round < 5; ++round) {
        const std::string path = folder / ("killed " + std::to_string(round) + ".mov");
        progress->frames = progress->framesASecondAgo = 0;
        const pid_t child = fork();
        if (child == 0)
            RecordUntilKilled(path, *progress);
        // So that there is something to recover, the moment lies behind the first frame.
        while (progress->frames == 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        std::this_thread::sleep_for(std::chrono::milliseconds(300 + random() % 2500));
        kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status)) << "the recording failed";

        const Bytes original = ReadFile(path);
        ASSERT_EQ(RecoverMovie(path, "", found, written), noErr);
        EXPECT_TRUE(ReadFile(path) == original);
        const auto frames = static_cast<int>(found.videoFrames);
        EXPECT_GE(frames, progress->framesASecondAgo.load());
        EXPECT_GE(static_cast<int>(found.soundFrames / kSoundFrames) + 1, progress->framesASecondAgo.load());
        EXPECT_EQ(OutputOf("ffmpeg -v error -i " + Quoted(written) + " -enc_time_base -1 -f null -"), "");
        OutputOf("ffmpeg -v error -i " + Quoted(written) + " -map 0:v -c copy -f image2pipe " + Quoted(written + ".v") +
                 " -map 0:a -c copy -f s16le " + Quoted(written + ".a"));
        Bytes pictures, sounds;
        for (int i = 0; i < frames; ++i)
            std::ranges::copy(JpegFrame(64, 48, i), std::back_inserter(pictures));
        for (uint32_t i = 0; i < found.soundFrames / kSoundFrames; ++i)
            std::ranges::copy(SoundOf(i), std::back_inserter(sounds));
        EXPECT_TRUE(ReadFile(written + ".v") == pictures);
        EXPECT_TRUE(ReadFile(written + ".a") == sounds);
    }
    munmap(progress, sizeof(Progress));
}

} // namespace
