#include "platform/movies/RecoveryJournal.h"

#include <gtest/gtest.h>

using namespace platform;

namespace {

std::vector<SampleRun> RunsOf(const SampleLog& log)
{
    std::vector<SampleRun> runs;
    log.ForEach([&](const SampleRun& run) { runs.push_back(run); });
    return runs;
}

std::vector<SampleRun> RunsOf(const std::vector<uint8_t>& taken)
{
    std::vector<SampleRun> runs;
    SampleLogDecoder decoder;
    SampleRun run;
    for (ByteReader bytes(taken); !bytes.AtEnd() && decoder.Decode(bytes, run);)
        runs.push_back(run);
    return runs;
}

TEST(SampleLog, GivesBackWhatWasAddedAsAWholeAndInParts)
{
    SampleLog log;
    std::vector<SampleRun> added;
    std::vector<SampleRun> taken;
    std::vector<uint8_t> part;
    int64_t position = 36;
    EXPECT_FALSE(log.HasNew());
    for (int i = 0; i < 40000; ++i) {
        SampleRun run;
        run.track = static_cast<uint32_t>(i % 3);
        run.description = static_cast<uint32_t>(i / 100 % 4);
        run.sync = i % 7 != 0;
        run.count = i % 3 == 1 ? 1000 + i : 1;
        run.duration = i % 11 * 300;
        run.size = 600000 + i;
        run.position = position;
        position += run.size + (i % 50 == 0 ? int64_t{1} << 33 : 0);
        log.Add(run);
        added.push_back(run);
        EXPECT_TRUE(log.HasNew());
        if (i % 777 == 0 || i == 39999) {
            part.clear();
            log.TakeNew(part);
            const auto runs = RunsOf(part);
            taken.insert(taken.end(), runs.begin(), runs.end());
            EXPECT_FALSE(log.HasNew());
        }
    }
    EXPECT_TRUE(RunsOf(log) == added);
    EXPECT_TRUE(taken == added);
    part.clear();
    log.TakeNew(part);
    EXPECT_TRUE(part.empty());
}

// An hour of pictures at uneven times, with sound: what it takes in memory, and what its journal takes in the file.
TEST(SampleLog, StaysSmallForAnHour)
{
    constexpr int kFrames = 108000;
    constexpr int kFramesInABlock = 15;
    MovieContents movie;
    movie.tracks.resize(2);
    for (auto& track : movie.tracks) {
        track.mediaType = &track == movie.tracks.data() ? kVideoMediaType : kSoundMediaType;
        track.timeScale = 600;
        track.descriptions.emplace_back(86);
    }
    RecoveryJournal journal;
    int64_t position = 36;
    int64_t data = 0;
    for (int i = 0; i < kFrames; ++i) {
        for (uint32_t track = 0; track < 2; ++track) {
            const int64_t size = track == 0 ? 8000 + i * 37 % 4000 : 1470 * 4;
            movie.samples.Add({track, 0, true, track == 0 ? 1 : 1470, track == 0 ? 300 + i % 600 : 1, position, size});
            position += size;
            data += size;
        }
        if (i % kFramesInABlock == kFramesInABlock - 1)
            position += static_cast<int64_t>(journal.MakeBlock(movie, position).size());
    }
    EXPECT_LT(movie.samples.MemoryUsed(), size_t{16} * kFrames);
    EXPECT_LT(position - 36 - data, data / 100) << "with pictures as small as 10 KB";
}

} // namespace
