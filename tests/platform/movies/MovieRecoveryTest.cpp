// SPDX-License-Identifier: MIT
// Recordings that were cut off, damaged or killed: what a check says of them, and what is recovered.

#include "platform/movies/MovieRecovery.h"
#include "RecordedMovie.h"
#include "platform/clock/MonotonicClock.h"
#include "platform/movies/JournalReplay.h"
#include "platform/movies/MovieCheck.h"
#include "platform/movies/MovieFragments.h"
#include "platform/movies/MovieHeader.h"
#include "platform/movies/OutputFile.h"
#include "platform/movies/RecoveryJournal.h"
#include "support/Await.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <gtest/gtest.h>
#include <ranges>
#include <sstream>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace platform;
using namespace movietest;

namespace {
int fallocateError = 0; // 0: the system's own
}

// In place of the C library's.
extern "C" int fallocate(int file, int mode, off_t offset, off_t length)
{
    errno = fallocateError;
    return fallocateError != 0 ? -1 : static_cast<int>(syscall(SYS_fallocate, file, mode, offset, length));
}

namespace {

const Bytes kStereo = SoundRecord("sowt", 2, 16, 44100);
constexpr int kSoundFrames = 1470;

Bytes SoundOf(uint32_t frame)
{
    return Noise(kSoundFrames * 4, frame);
}

int64_t clockTime = 0;

// A recording that was cut off behind its last fragment. There is one for every twelve frames, and one for each
// track's first samples.
Bytes CutOffRecording(const std::string& path, int frames)
{
    clockTime = kNanosecondsPerSecond;
    SetMonotonicClock([] { return clockTime; });
    {
        RecordedMovie movie(path);
        for (int i = 0; i < frames; ++i) {
            EXPECT_EQ(movie.AddPicture(i), noErr);
            EXPECT_EQ(movie.AddSound(SoundOf(static_cast<uint32_t>(i)), kStereo, kSoundFrames), noErr);
            clockTime += 34 * kNanosecondsPerMillisecond;
        }
        EXPECT_EQ(movie.Close(), noErr);
    }
    SetMonotonicClock(nullptr);
    return ReadFile(path);
}

// The journal boxes of a recording: where they begin and end.
std::vector<std::pair<size_t, size_t>> BoxesOf(const Bytes& file)
{
    std::vector<std::pair<size_t, size_t>> boxes;
    for (auto at = file.begin();;) {
        at = std::search(at, file.end(), kJournalIdentifier.begin(), kJournalIdentifier.end());
        if (at == file.end())
            return boxes;
        const auto start = static_cast<size_t>(at - file.begin()) - 8;
        boxes.emplace_back(start, start + ByteReader(std::span(file).subspan(start)).U32());
        ++at;
    }
}

std::string PacketsOf(const std::string& path)
{
    return ProbeOf("-count_packets -show_entries stream=nb_read_packets", path);
}

// Checks the samples of a movie, byte for byte.
void ExpectSamples(const std::string& path, int frames, int sounds)
{
    Bytes pictures, sound;
    for (int i = 0; i < frames; ++i)
        std::ranges::copy(JpegFrame(64, 48, i), std::back_inserter(pictures));
    for (int i = 0; i < sounds; ++i)
        std::ranges::copy(SoundOf(static_cast<uint32_t>(i)), std::back_inserter(sound));
    EXPECT_TRUE(StreamBytes(path, "v", "image2pipe") == pictures);
    EXPECT_TRUE(StreamBytes(path, "a", "s16le") == sound);
}

class MovieRecovery : public testing::Test {
protected:
    Result Recover(const Bytes& file)
    {
        WriteFile(folder / "cut.mov", file);
        return RecoverMovie(folder / "cut.mov", "", found, written);
    }

    // What the boxes of a recording of 62 frames contain, up to each of them.
    const std::vector<unsigned> frames = {1, 1, 14, 26, 38, 50, 62, 62};
    const std::vector<unsigned> sounds = {0, 1, 13, 25, 37, 49, 61, 62};

    TemporaryFolder folder;
    RecoveredMovie found;
    std::string written;
};

TEST_F(MovieRecovery, EveryBeginningOfARecordingPlaysAndGivesAllItsWholeBoxes)
{
    const Bytes file = CutOffRecording(folder / "whole.mov", 62);
    EXPECT_EQ(DecodingErrorsOf(folder / "whole.mov"), "");
    EXPECT_NE(OutputOf("gst-discoverer-1.0 " + Quoted(folder / "whole.mov")).find("0:00:02.0"), std::string::npos);
    ExpectSamples(folder / "whole.mov", 62, 62);
    const auto boxes = BoxesOf(file);
    ASSERT_EQ(boxes.size(), frames.size());
    for (size_t size = 0; size <= file.size(); size += size % 1971 + 5211) {
        const auto whole = std::ranges::count_if(boxes, [&](const auto& box) { return box.second <= size; });
        const Bytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size));
        const Result result = Recover(cut);
        ASSERT_EQ(result, whole == 0 ? invalidMovie : noErr) << size;
        if (whole == 0) {
            ASSERT_TRUE(ReadFile(folder / "cut.mov") == cut) << "left as it was";
            continue;
        }
        ASSERT_EQ(found.videoFrames, frames[static_cast<size_t>(whole) - 1]) << size;
        ASSERT_EQ(found.soundFrames, sounds[static_cast<size_t>(whole) - 1] * kSoundFrames) << size;
        ASSERT_EQ(RecoverMovie(folder / "cut.mov", "", found, written), noErr);
        ASSERT_TRUE(found.wasComplete);
    }
    // Cut behind a fragment that is whole, as a killed process leaves it.
    for (const size_t box : {2U, 4U}) {
        WriteFile(folder / "cut.mov",
                  Bytes(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(boxes[box].second)));
        EXPECT_EQ(DecodingErrorsOf(folder / "cut.mov"), "");
        EXPECT_EQ(PacketsOf(folder / "cut.mov"),
                  std::to_string(frames[box]) + "\n" + std::to_string(sounds[box]) + "\n");
        ASSERT_EQ(RecoverMovie(folder / "cut.mov", "", found, written), noErr);
        EXPECT_EQ(DecodingErrorsOf(folder / "cut.mov"), "");
        ExpectSamples(folder / "cut.mov", static_cast<int>(frames[box]), static_cast<int>(sounds[box]));
    }
}

TEST_F(MovieRecovery, ARepairThatIsKilledCanBeDoneAgain)
{
    const Bytes file = CutOffRecording(folder / "cut.mov", 40);
    ASSERT_EQ(RecoverMovie(folder / "cut.mov", "", found, written), noErr);
    const Bytes repaired = ReadFile(folder / "cut.mov");
    for (size_t size = file.size(); size < repaired.size(); size += 97) {
        // The head is written after the header.
        Bytes killed(repaired.begin(), repaired.begin() + static_cast<std::ptrdiff_t>(size));
        std::copy_n(file.begin(), kFileHeadSize, killed.begin());
        ASSERT_EQ(Recover(killed), noErr) << size;
        ASSERT_EQ(found.videoFrames, 40U);
        ASSERT_FALSE(found.wasComplete);
    }
    EXPECT_EQ(DecodingErrorsOf(folder / "cut.mov"), "");
}

TEST_F(MovieRecovery, LeavesAloneWhatIsNotOurs)
{
    // Another file over the beginning of ours; then nothing but heads of boxes, each of them of the largest size.
    Bytes other = CutOffRecording(folder / "cut.mov", 20);
    std::ranges::copy(Noise(200, 1), other.begin());
    EXPECT_EQ(Recover(other), invalidMovie);
    EXPECT_TRUE(ReadFile(folder / "cut.mov") == other);
    ByteWriter heads;
    heads.Raw(FileHead());
    while (heads.Size() < size_t{6} << 20) {
        const size_t position = heads.Size();
        heads.U32(1 << 20);
        heads.U32(CodeOf("uuid"));
        heads.Raw(kJournalIdentifier);
        heads.U64(1);
        heads.U64(position);
        heads.Zeros(12);
    }
    EXPECT_EQ(Recover({heads.Bytes().begin(), heads.Bytes().end()}), invalidMovie);
    // A recording without a sample.
    RecordedMovie empty(folder / "empty.mov");
    EXPECT_EQ(empty.Close(), noErr);
    EXPECT_EQ(RecoverMovie(folder / "empty.mov", "", found, written), invalidMovie);
}

TEST_F(MovieRecovery, FlippedBitsCostTheirOwnSamplesAndNoStep)
{
    const Bytes file = CutOffRecording(folder / "whole.mov", 62);
    const auto boxes = BoxesOf(file);
    for (size_t damaged = 2; damaged < boxes.size(); ++damaged) {
        const auto [start, end] = boxes[damaged];
        // In the head, in its checksum, and in the first byte, the middle and the last byte of what it covers.
        for (const size_t at : {size_t{0}, size_t{10}, size_t{26}, size_t{35}, kJournalHeadSize - 4, kJournalHeadSize,
                                kJournalHeadSize + 20, end - start - 1}) {
            Bytes broken = file;
            broken[start + at] ^= 0x10;
            ASSERT_EQ(Recover(broken), noErr);
            ASSERT_EQ(found.videoFrames, 62 - (frames[damaged] - frames[damaged - 1]));
            ASSERT_NEAR(found.seconds, 62 / 30.0, 0.001) << "what comes behind keeps its time";
        }
    }
    std::minstd_rand random(3);
    for (int round = 0; round < 300; ++round) {
        Bytes broken = file;
        for (int i = 0; i < 1 + round % 40; ++i)
            broken[round % 3 == 0 ? random() % 5000 : random() % broken.size()] ^= 1 << random() % 8;
        const Result result = Recover(broken);
        ASSERT_TRUE(result == noErr || result == invalidMovie);
        const Bytes after = ReadFile(folder / "cut.mov");
        ASSERT_TRUE(result == noErr ? std::equal(broken.begin() + kInitialHeaderPosition, broken.end(),
                                                 after.begin() + kInitialHeaderPosition)
                                    : after == broken);
    }
}

// A track whose first descriptions are lost begins with the next box that repeats them, at its own time.
TEST_F(MovieRecovery, ATrackWithoutItsBeginningKeepsItsTime)
{
    constexpr int kFrames = 300;
    Bytes broken = CutOffRecording(folder / "whole.mov", kFrames);
    broken[BoxesOf(broken).front().first + kJournalHeadSize + 20] ^= 0x10;
    ASSERT_EQ(Recover(broken), noErr);
    ASSERT_GT(found.videoFrames, 0U);
    ASSERT_LT(found.videoFrames, 200U);
    const std::string start = ProbeOf("-select_streams v -show_entries stream=start_time", folder / "cut.mov");
    EXPECT_NEAR(std::stod(start), (kFrames - found.videoFrames) / 30.0, 0.001);
    EXPECT_NEAR(found.seconds, kFrames / 30.0, 0.001);
}

TEST_F(MovieRecovery, HostileNumbersUnderARightChecksumNeverHarm)
{
    std::minstd_rand random(2);
    int64_t taken = 0;
    for (int round = 0; round < 20000; ++round) {
        ByteWriter payload;
        payload.U64(0);
        payload.U32(0);
        const size_t tracks = round % 10 == 0 ? 0 : 2;
        payload.Number(tracks);
        for (const auto type : std::array{kVideoMediaType, kSoundMediaType} | std::views::take(tracks)) {
            payload.U32(type);
            for (int i = 0; i < 3; ++i)
                payload.Number(uint64_t{random()} << random() % 30);
            payload.U16(0);
            payload.U8(random() % 2);
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
        JournalBox box;
        box.position = 1 << 20;
        box.payload.assign(payload.Bytes().begin(), payload.Bytes().end());
        JournalReplay replay;
        replay.Add(box);
        replay.Add(box);
        ASSERT_LE(replay.MediaBytes(), box.position * 8);
        taken += replay.MediaBytes();
        ASSERT_LT(MovieHeader(replay.TakeMovie()).size(), size_t{10} << 20);
    }
    EXPECT_GT(taken, 0) << "the numbers were never taken for samples";
}

// Where the file system can't keep room, what is free counts; where it is full, what was kept.
TEST_F(MovieRecovery, SpaceIsReservedWhereThatCanBeDone)
{
    for (const int error : {EOPNOTSUPP, ENOSPC}) {
        std::unique_ptr<DiskFile> file;
        ASSERT_EQ(CreateOutputFile(folder / "room", true, 0, file), noErr);
        fallocateError = error;
        EXPECT_EQ(file->Reserve(1) > 0, error == EOPNOTSUPP) << error;
        fallocateError = 0;
    }
}

// Records in real time until it is killed. Counts the frames that it has added in memory that outlives it.
[[noreturn]] void RecordUntilKilled(const std::string& path, std::atomic<int>& frames)
{
    RecordedMovie movie(path);
    for (int i = 0;; ++i) {
        if (movie.AddPicture(i, 10 + i % 21) != noErr ||
            movie.AddSound(SoundOf(static_cast<uint32_t>(i)), kStereo, kSoundFrames) != noErr)
            _exit(1);
        frames = i + 1;
        std::this_thread::sleep_for(std::chrono::microseconds(33333));
    }
}

TEST_F(MovieRecovery, AKilledRecordingLosesLessThanItsLastSecond)
{
    auto* added = static_cast<std::atomic<int>*>(
        mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    std::random_device seed;
    std::mt19937 random(seed());
    for (int round = 0; round < 5; ++round) {
        const std::string path = folder / ("killed " + std::to_string(round) + ".mov");
        *added = 0;
        const pid_t child = fork();
        if (child == 0)
            RecordUntilKilled(path, *added);
        // So that there is something to play, the moment lies behind the first fragment.
        const std::string fragment = "moof";
        ASSERT_TRUE(Await([&] {
            const Bytes file = ReadFile(path);
            return !std::ranges::search(file, fragment).empty();
        }));
        const int kept = *added + static_cast<int>(random() % 60);
        ASSERT_TRUE(Await([&] { return *added >= kept + 30; }));
        kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status)) << "the recording failed";

        EXPECT_EQ(DecodingErrorsOf(path), "") << "as it is";
        std::istringstream packets(PacketsOf(path));
        int playedFrames = 0, playedSounds = 0;
        packets >> playedFrames >> playedSounds;
        EXPECT_EQ(RecoverMovie(path, path + ".copy", found, written), noErr);
        CheckedMovie copy;
        EXPECT_TRUE(CheckMovie(path + ".copy", copy) == noErr && copy.IsWhole());
        ASSERT_EQ(RecoverMovie(path, "", found, written), noErr);
        const auto frames = static_cast<int>(found.videoFrames);
        const auto sounds = static_cast<int>(found.soundFrames / kSoundFrames);
        EXPECT_GE(frames, kept);
        EXPECT_GE(sounds + 1, kept);
        // Unrecovered it plays as far as its data was durable: fragments that wait for a sync are not announced yet.
        EXPECT_GT(playedFrames, 0);
        EXPECT_LE(playedFrames, frames);
        EXPECT_LE(playedSounds, sounds);
        EXPECT_EQ(DecodingErrorsOf(path), "");
        ExpectSamples(path, frames, sounds);
    }
    munmap(added, sizeof(std::atomic<int>));
}

// Checks of movies of ours that are whole, cut short and damaged. Those of other programs are checked by the program's
// own test.
class MovieCheckTest : public testing::Test {
protected:
    void SetUp() override
    {
        RecordedMovie movie(path);
        for (int i = 0; i < 40; ++i) {
            ASSERT_EQ(movie.AddPicture(i), noErr);
            ASSERT_EQ(
                movie.AddSound(Noise(6 * 1470, static_cast<uint32_t>(i)), SoundRecord("in24", 2, 24, 44100), 1470),
                noErr);
        }
        ASSERT_EQ(movie.Finish(), noErr);
        whole = ReadFile(path);
    }

    bool IsWhole(const Bytes& content)
    {
        WriteFile(path, content);
        found = {};
        return CheckMovie(path, found) == noErr && found.IsWhole();
    }

    TemporaryFolder folder;
    std::string path = folder / "a.mov";
    Bytes whole;
    CheckedMovie found;
};

// Wherever the file ends, it is not whole; whatever byte is another, reading it ends well.
TEST_F(MovieCheckTest, FindsWhatIsMissing)
{
    EXPECT_TRUE(IsWhole(whole));
    EXPECT_NEAR(found.tracks.at(1).Seconds(), 40 / 30.0, 1e-9);
    for (size_t size = 0; size < whole.size(); size += size < whole.size() - 2000 ? 997 : 13)
        EXPECT_FALSE(IsWhole({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)})) << size;
    std::mt19937 random(1);
    const size_t header = whole.size() - 1500;
    int noticed = 0;
    for (int i = 0; i < 500; ++i) {
        Bytes damaged = whole;
        damaged[header + random() % (whole.size() - header)] ^= static_cast<uint8_t>(1U << random() % 8);
        noticed += IsWhole(damaged) ? 0 : 1;
    }
    EXPECT_GT(noticed, 100);
}

TEST_F(MovieCheckTest, SaysWhatIsWrongWithATable)
{
    const struct {
        const char* table;
        size_t behind; ///< its name: where the number is that is changed
        uint32_t number;
        const char* fault;
    } cases[] = {
        {"stco", 8, 0x7F000000, "samples are beyond the end of the file, the first of them sample 1"},
        {"stco", 8, 4, "samples are outside of the media data, the first of them sample 1"},
        {"stsc", 16, 9, "samples have no description, the first of them sample 1"},
        {"stts", 12, 77, "its header has a duration of"},
        {"stsz", 8, 39, "samples, its table of sizes 39"},
    };
    const std::string text(whole.begin(), whole.end());
    for (const auto& [table, behind, number, fault] : cases) {
        SCOPED_TRACE(fault);
        Bytes damaged = whole;
        const size_t at = text.find(table, text.rfind("moov")) + 4 + behind;
        for (size_t i = 0; i < 4; ++i)
            damaged[at + i] = static_cast<uint8_t>(number >> (24 - 8 * i));
        EXPECT_FALSE(IsWhole(damaged));
        ASSERT_FALSE(found.tracks.empty());
        const std::string faults = testing::PrintToString(found.tracks[0].faults);
        EXPECT_NE(faults.find(fault), std::string::npos) << faults;
    }
}

} // namespace
