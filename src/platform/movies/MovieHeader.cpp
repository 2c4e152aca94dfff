// SPDX-License-Identifier: MIT
// The complete header of a movie:
//
//   moov(mvhd trak(... stbl(stsd stts stss stsc stsz stco|co64)) udta(cre8))
//
// A chunk is one run of the sample log. Each track's tables are gathered in one pass through the log, in the run-length
// form in which the file stores them; only sizes of single samples and chunk offsets take space for each entry.
//
// Samples are counted in 32 bits, which uncompressed sound exceeds after a day. Its track is then described in larger
// samples, one for each run: the bytes and times are the same.
#include "platform/movies/MovieHeader.h"

#include "platform/movies/MovieBoxes.h"
#include "platform/movies/SampleDescriptions.h"
#include "platform/movies/TrackAlignment.h"

#include <algorithm>

namespace platform {
namespace {

struct Times {
    int64_t count;
    int64_t duration;
};

struct Sizes {
    int64_t count;
    int64_t bytes;
};

struct Chunks {
    size_t first;
    int64_t samples;
    uint32_t description;

    bool AlikeTo(const Chunks& other) const { return samples == other.samples && description == other.description; }
};

// The sample tables of one track.
struct SampleTables {
    std::vector<Times> times;
    std::vector<Sizes> sizes;
    std::vector<Chunks> chunks;
    std::vector<int64_t> offsets;
    std::vector<uint32_t> syncSamples;
    int64_t samples = 0;
    bool allSync = true;
    bool uncompressedSound = false;
};

// Adds to the last entry of a run-length table, or starts a new one.
template <typename Entry, typename Value>
void Extend(std::vector<Entry>& table, int64_t count, Value Entry::*field, Value value)
{
    if (!table.empty() && table.back().*field == value)
        table.back().count += count;
    else
        table.push_back({count, value});
}

void AddRun(SampleTables& tables, const SampleRun& run, int64_t sampleBytes)
{
    Extend(tables.times, run.count, &Times::duration, run.duration);
    Extend(tables.sizes, run.count, &Sizes::bytes, sampleBytes);
    const Chunks chunk{tables.offsets.size() + 1, run.count, run.description + 1};
    if (tables.chunks.empty() || !tables.chunks.back().AlikeTo(chunk))
        tables.chunks.push_back(chunk);
    tables.offsets.push_back(run.position);
    tables.allSync = tables.allSync && run.sync;
    for (int64_t i = 0; run.sync && i < run.count && !tables.uncompressedSound; ++i)
        tables.syncSamples.push_back(static_cast<uint32_t>(tables.samples + i + 1));
    tables.samples += run.count;
}

SampleTables TablesOf(const MovieContents& movie, size_t trackIndex)
{
    const TrackContents& track = movie.tracks[trackIndex];
    std::vector<int64_t> frameBytes;
    for (const auto& description : track.descriptions)
        frameBytes.push_back(track.mediaType == kSoundMediaType ? BytesPerSoundFrame(description) : 0);
    SampleTables tables;
    tables.uncompressedSound = !frameBytes.empty() && std::ranges::all_of(frameBytes, [](auto b) { return b > 0; });
    const bool runsAreSamples = track.samples > UINT32_MAX;
    movie.samples.ForEach([&](const SampleRun& run) {
        if (run.track != trackIndex)
            return;
        const int64_t known = run.description < frameBytes.size() ? frameBytes[run.description] : 0;
        if (runsAreSamples)
            AddRun(tables, RunAsOneSample(run), run.size);
        else
            AddRun(tables, run, known > 0 ? known : run.size / run.count);
    });
    return tables;
}

// "stts": the duration of each sample.
void PutTimesToSamples(ByteWriter& out, const SampleTables& tables)
{
    const Box box(out, "stts");
    PutVersionAndFlags(out, 0, 0);
    out.U32(static_cast<uint32_t>(tables.times.size()));
    for (const Times& times : tables.times) {
        out.U32(static_cast<uint32_t>(times.count));
        out.U32(static_cast<uint32_t>(times.duration));
    }
}

// "stss": the sync samples; without it every sample is one.
void PutSyncSamples(ByteWriter& out, const SampleTables& tables)
{
    if (tables.allSync)
        return;
    const Box box(out, "stss");
    PutVersionAndFlags(out, 0, 0);
    out.U32(static_cast<uint32_t>(tables.syncSamples.size()));
    for (const uint32_t sample : tables.syncSamples)
        out.U32(sample);
}

// "stsc": the number of samples and the description of each chunk.
void PutSamplesToChunks(ByteWriter& out, const SampleTables& tables)
{
    const Box box(out, "stsc");
    PutVersionAndFlags(out, 0, 0);
    out.U32(static_cast<uint32_t>(tables.chunks.size()));
    for (const Chunks& chunks : tables.chunks) {
        out.U32(static_cast<uint32_t>(chunks.first));
        out.U32(static_cast<uint32_t>(chunks.samples));
        out.U32(chunks.description);
    }
}

// The size that all samples have, or 0. Uncompressed sound whose frame size changes on the way gets 1, which leaves the
// size to each description.
int64_t CommonSize(const TrackContents& track, const SampleTables& tables)
{
    if (tables.sizes.size() == 1)
        return tables.sizes.front().bytes;
    const bool singleFrames = tables.uncompressedSound && track.samples <= UINT32_MAX;
    return singleFrames && !tables.sizes.empty() ? 1 : 0;
}

// "stsz": the size of each sample in bytes.
void PutSampleSizes(ByteWriter& out, const TrackContents& track, const SampleTables& tables)
{
    const int64_t common = CommonSize(track, tables);
    const Box box(out, "stsz");
    PutVersionAndFlags(out, 0, 0);
    out.U32(static_cast<uint32_t>(common));
    out.U32(static_cast<uint32_t>(tables.samples));
    for (const Sizes& sizes : tables.sizes)
        for (int64_t i = 0; common == 0 && i < sizes.count; ++i)
            out.U32(static_cast<uint32_t>(sizes.bytes));
}

// "stco", or "co64" in files larger than 4 GB: the position of each chunk.
void PutChunkOffsets(ByteWriter& out, const SampleTables& tables)
{
    const bool large = !tables.offsets.empty() && tables.offsets.back() > UINT32_MAX;
    const Box box(out, large ? "co64" : "stco");
    PutVersionAndFlags(out, 0, 0);
    out.U32(static_cast<uint32_t>(tables.offsets.size()));
    for (const int64_t offset : tables.offsets)
        PutTime(out, large ? 1 : 0, static_cast<uint64_t>(offset));
}

void PutTables(ByteWriter& out, const TrackContents& track, const SampleTables& tables)
{
    PutTimesToSamples(out, tables);
    PutSyncSamples(out, tables);
    PutSamplesToChunks(out, tables);
    PutSampleSizes(out, track, tables);
    PutChunkOffsets(out, tables);
}

} // namespace

std::vector<uint8_t> MovieHeader(const MovieContents& movie)
{
    const auto edits = AlignedEdits(movie);
    int64_t duration = 0;
    for (const auto& trackEdits : edits)
        duration = std::max(duration, DurationOf(trackEdits));
    ByteWriter out;
    {
        const Box box(out, "moov");
        PutMovieHead(out, movie, duration);
        for (size_t i = 0; i < movie.tracks.size(); ++i)
            if (movie.tracks[i].samples > 0)
                PutTrack(out, {movie, i, movie.tracks[i].duration, edits[i]},
                         [&](ByteWriter& o) { PutTables(o, movie.tracks[i], TablesOf(movie, i)); });
        PutUserData(out, movie);
    }
    return {out.Bytes().begin(), out.Bytes().end()};
}

int64_t MaxMovieHeaderSize(const MovieContents& movie)
{
    constexpr int64_t kFixed = int64_t{64} << 10;
    constexpr int64_t kTableBytesPerRun = 4 + 8 + 8 + 12; // stsz, stco, stts, stsc
    int64_t size = kFixed + kTableBytesPerRun * movie.samples.Runs();
    for (const TrackContents& track : movie.tracks) {
        if (track.mediaType == kVideoMediaType)
            size += (4 + 4) * std::max<int64_t>(0, track.samples - movie.samples.Runs());
        for (const auto& description : track.descriptions)
            size += static_cast<int64_t>(description.size());
    }
    return size;
}

} // namespace platform
