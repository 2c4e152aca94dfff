// The boxes of a movie file, one function for each, in the order in which they stand:
//
//   ftyp  mdat(samples, journal)  moov(mvhd trak(tkhd edts(elst) mdia(mdhd hdlr minf(vmhd|smhd hdlr dinf(dref)
//   stbl(stsd stts stss stsc stsz stco|co64)))) udta(cre8))
//
// A chunk is one run of the sample log. The tables are gathered in one pass through the log for each track, in the
// run-length form in which the file has them anyway; only sizes of single samples and chunk offsets take room for
// each entry. Times are written in 32 bits unless they need 64, which older readers like better.
#include "platform/movies/MovieHeader.h"

#include "platform/movies/SampleDescriptions.h"

#include <algorithm>
#include <string_view>

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

// The tables of one track's samples.
struct SampleTables {
    std::vector<Times> times;
    std::vector<Sizes> sizes;
    std::vector<Chunks> chunks;
    std::vector<int64_t> offsets;
    std::vector<uint32_t> syncSamples;
    bool allSync = true;
};

// Adds to the last entry of a run-length table, or begins a new one.
template <typename Entry, typename Value>
void Extend(std::vector<Entry>& table, int64_t count, Value Entry::*field, Value value)
{
    if (!table.empty() && table.back().*field == value)
        table.back().count += count;
    else
        table.push_back({count, value});
}

SampleTables TablesOf(const MovieContents& movie, size_t trackIndex)
{
    const TrackContents& track = movie.tracks[trackIndex];
    std::vector<int64_t> frameBytes;
    for (const auto& description : track.descriptions)
        frameBytes.push_back(track.mediaType == kSoundMediaType ? BytesPerSoundFrame(description) : 0);
    SampleTables tables;
    int64_t samples = 0;
    movie.samples.ForEach([&](const SampleRun& run) {
        if (run.track != trackIndex)
            return;
        Extend(tables.times, run.count, &Times::duration, run.duration);
        const int64_t known = run.description < frameBytes.size() ? frameBytes[run.description] : 0;
        Extend(tables.sizes, run.count, &Sizes::bytes, known > 0 ? known : run.size / run.count);
        const Chunks chunk{tables.offsets.size() + 1, run.count, run.description + 1};
        if (tables.chunks.empty() || !tables.chunks.back().AlikeTo(chunk))
            tables.chunks.push_back(chunk);
        tables.offsets.push_back(run.position);
        tables.allSync = tables.allSync && run.sync;
        for (int64_t i = 0; run.sync && track.mediaType == kVideoMediaType && i < run.count; ++i)
            tables.syncSamples.push_back(static_cast<uint32_t>(samples + i + 1));
        samples += run.count;
    });
    return tables;
}

uint8_t VersionFor(uint64_t creationTime, int64_t duration)
{
    return creationTime > UINT32_MAX || duration > UINT32_MAX ? 1 : 0;
}

void PutVersionAndFlags(ByteWriter& out, uint8_t version, uint32_t flags)
{
    out.U32(static_cast<uint32_t>(version) << 24 | flags);
}

void PutTime(ByteWriter& out, uint8_t version, uint64_t time)
{
    if (version == 1)
        out.U64(time);
    else
        out.U32(static_cast<uint32_t>(time));
}

void PutIdentityMatrix(ByteWriter& out)
{
    for (const uint32_t entry : {0x00010000U, 0U, 0U, 0U, 0x00010000U, 0U, 0U, 0U, 0x40000000U})
        out.U32(entry);
}

// "ftyp": the file is a QuickTime movie.
void PutFileType(ByteWriter& out)
{
    const Box box(out, "ftyp");
    out.U32(CodeOf("qt  "));
    out.U32(0x20050300);
    out.U32(CodeOf("qt  "));
}

// "mdat": its head, with a length of 64 bits from the start, as nobody knows how long a recording will be.
void PutMediaDataHead(ByteWriter& out, int64_t mediaDataEnd)
{
    const auto start = static_cast<int64_t>(out.Size());
    out.U32(1);
    out.U32(CodeOf("mdat"));
    out.U64(mediaDataEnd == 0 ? 0 : static_cast<uint64_t>(mediaDataEnd - start));
}

// "mvhd": the movie's clock and length.
void PutMovieHead(ByteWriter& out, const MovieContents& movie)
{
    int64_t duration = 0;
    for (const TrackContents& track : movie.tracks)
        duration = std::max(duration, DurationOf(track.edits));
    const Box box(out, "mvhd");
    const uint8_t version = VersionFor(movie.creationTime, duration);
    PutVersionAndFlags(out, version, 0);
    PutTime(out, version, movie.creationTime);
    PutTime(out, version, PresentMovieTime());
    out.U32(kMovieTimeScale);
    PutTime(out, version, static_cast<uint64_t>(duration));
    out.U32(0x00010000); // rate
    out.U16(0x0100);     // volume
    out.Zeros(10);
    PutIdentityMatrix(out);
    out.Zeros(24); // preview, poster, selection, current time
    out.U32(static_cast<uint32_t>(movie.tracks.size() + 1));
}

// "tkhd": a track's place in the movie.
void PutTrackHead(ByteWriter& out, const MovieContents& movie, size_t index)
{
    constexpr uint32_t kEnabledInMoviePreviewAndPoster = 15;
    const TrackContents& track = movie.tracks[index];
    const int64_t duration = DurationOf(track.edits);
    const Box box(out, "tkhd");
    const uint8_t version = VersionFor(movie.creationTime, duration);
    PutVersionAndFlags(out, version, kEnabledInMoviePreviewAndPoster);
    PutTime(out, version, movie.creationTime);
    PutTime(out, version, PresentMovieTime());
    out.U32(static_cast<uint32_t>(index + 1));
    out.U32(0);
    PutTime(out, version, static_cast<uint64_t>(duration));
    out.Zeros(8);
    out.U16(0); // layer
    out.U16(0); // alternate group
    out.U16(static_cast<uint16_t>(track.volume));
    out.U16(0);
    PutIdentityMatrix(out);
    out.U32(static_cast<uint32_t>(track.width));
    out.U32(static_cast<uint32_t>(track.height));
}

// "elst": which pieces of the media the track shows, one after the other.
void PutEditList(ByteWriter& out, const TrackContents& track)
{
    uint8_t version = 0;
    for (const Edit& edit : track.edits)
        if (edit.duration > UINT32_MAX || edit.mediaTime > INT32_MAX)
            version = 1;
    const Box box(out, "elst");
    PutVersionAndFlags(out, version, 0);
    out.U32(static_cast<uint32_t>(track.edits.size()));
    for (const Edit& edit : track.edits) {
        PutTime(out, version, static_cast<uint64_t>(edit.duration));
        PutTime(out, version, static_cast<uint64_t>(edit.mediaTime));
        out.U32(0x00010000); // rate
    }
}

// "edts": holds the edit list.
void PutEdits(ByteWriter& out, const TrackContents& track)
{
    if (track.edits.empty())
        return;
    const Box box(out, "edts");
    PutEditList(out, track);
}

// "mdhd": the media's clock and length.
void PutMediaHead(ByteWriter& out, const MovieContents& movie, const TrackContents& track)
{
    const Box box(out, "mdhd");
    const uint8_t version = VersionFor(movie.creationTime, track.duration);
    PutVersionAndFlags(out, version, 0);
    PutTime(out, version, movie.creationTime);
    PutTime(out, version, PresentMovieTime());
    out.U32(static_cast<uint32_t>(track.timeScale));
    PutTime(out, version, static_cast<uint64_t>(track.duration));
    out.U16(0); // language: English
    out.U16(0); // quality
}

// "hdlr": what reads the media or its data.
void PutHandler(ByteWriter& out, std::string_view kind, FourCharCode type, std::string_view name)
{
    const Box box(out, "hdlr");
    PutVersionAndFlags(out, 0, 0);
    out.U32(CodeOf(kind));
    out.U32(type);
    out.Zeros(12);
    out.U8(static_cast<uint8_t>(name.size()));
    for (const char letter : name)
        out.U8(static_cast<uint8_t>(letter));
}

// "vmhd": how pictures are put on the screen: copied, by way of dithering where colours are short.
void PutVideoMediaHead(ByteWriter& out)
{
    const Box box(out, "vmhd");
    PutVersionAndFlags(out, 0, 1);
    out.U16(0x0040);
    for (int i = 0; i < 3; ++i)
        out.U16(0x8000);
}

// "smhd": the balance of sound, in the middle.
void PutSoundMediaHead(ByteWriter& out)
{
    const Box box(out, "smhd");
    PutVersionAndFlags(out, 0, 0);
    out.U32(0);
}

// "dref": the one place where data lies, this file itself.
void PutDataReferences(ByteWriter& out)
{
    constexpr uint32_t kSameFile = 1;
    const Box box(out, "dref");
    PutVersionAndFlags(out, 0, 0);
    out.U32(1);
    const Box reference(out, "alis");
    PutVersionAndFlags(out, 0, kSameFile);
}

// "dinf": holds the data references.
void PutDataInformation(ByteWriter& out)
{
    const Box box(out, "dinf");
    PutDataReferences(out);
}

// "stsd": what the samples are.
void PutSampleDescriptions(ByteWriter& out, const TrackContents& track)
{
    const Box box(out, "stsd");
    PutVersionAndFlags(out, 0, 0);
    if (track.descriptions.empty()) {
        out.U32(1);
        out.Raw(DescriptionOfEmptyTrack(track));
        return;
    }
    out.U32(static_cast<uint32_t>(track.descriptions.size()));
    for (const auto& description : track.descriptions)
        out.Raw(description);
}

// "stts": how long each sample lasts.
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

// "stss": where decoding can begin; without it, at every sample.
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

// "stsc": how many samples each chunk holds, and in which description.
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

// The size that all samples have, or 0. Frames of uncompressed sound whose size changes on the way are given as 1,
// which leaves the size to each description.
int64_t CommonSize(const TrackContents& track, const SampleTables& tables)
{
    if (tables.sizes.size() == 1)
        return tables.sizes.front().bytes;
    const bool plainSound = track.mediaType == kSoundMediaType && !track.descriptions.empty() &&
                            std::ranges::all_of(track.descriptions, [](const auto& description) {
                                return BytesPerSoundFrame(description) > 0;
                            });
    return plainSound && !tables.sizes.empty() ? 1 : 0;
}

// "stsz": how many bytes each sample has.
void PutSampleSizes(ByteWriter& out, const TrackContents& track, const SampleTables& tables)
{
    const int64_t common = CommonSize(track, tables);
    const Box box(out, "stsz");
    PutVersionAndFlags(out, 0, 0);
    out.U32(static_cast<uint32_t>(common));
    out.U32(static_cast<uint32_t>(track.samples));
    for (const Sizes& sizes : tables.sizes)
        for (int64_t i = 0; common == 0 && i < sizes.count; ++i)
            out.U32(static_cast<uint32_t>(sizes.bytes));
}

// "stco", or "co64" where the file has passed 4 GB: where each chunk begins.
void PutChunkOffsets(ByteWriter& out, const SampleTables& tables)
{
    const bool large = !tables.offsets.empty() && tables.offsets.back() > UINT32_MAX;
    const Box box(out, large ? "co64" : "stco");
    PutVersionAndFlags(out, 0, 0);
    out.U32(static_cast<uint32_t>(tables.offsets.size()));
    for (const int64_t offset : tables.offsets)
        PutTime(out, large ? 1 : 0, static_cast<uint64_t>(offset));
}

// "stbl": holds the tables of the samples.
void PutSampleTables(ByteWriter& out, const MovieContents& movie, size_t index)
{
    const SampleTables tables = TablesOf(movie, index);
    const Box box(out, "stbl");
    PutSampleDescriptions(out, movie.tracks[index]);
    PutTimesToSamples(out, tables);
    PutSyncSamples(out, tables);
    PutSamplesToChunks(out, tables);
    PutSampleSizes(out, movie.tracks[index], tables);
    PutChunkOffsets(out, tables);
}

// "minf": how the media is handled, where its data lies and what its samples are.
void PutMediaInformation(ByteWriter& out, const MovieContents& movie, size_t index)
{
    const Box box(out, "minf");
    if (movie.tracks[index].mediaType == kVideoMediaType)
        PutVideoMediaHead(out);
    else
        PutSoundMediaHead(out);
    PutHandler(out, "dhlr", CodeOf("alis"), "Data Handler");
    PutDataInformation(out);
    PutSampleTables(out, movie, index);
}

// "mdia": the media of a track.
void PutMedia(ByteWriter& out, const MovieContents& movie, size_t index)
{
    const TrackContents& track = movie.tracks[index];
    const Box box(out, "mdia");
    PutMediaHead(out, movie, track);
    PutHandler(out, "mhlr", track.mediaType, track.mediaType == kVideoMediaType ? "Video Media" : "Sound Media");
    PutMediaInformation(out, movie, index);
}

// "trak": one track.
void PutTrack(ByteWriter& out, const MovieContents& movie, size_t index)
{
    const Box box(out, "trak");
    PutTrackHead(out, movie, index);
    PutEdits(out, movie.tracks[index]);
    PutMedia(out, movie, index);
}

// "udta": what else is to be known: the code of the program that made the movie, as "cre8".
void PutUserData(ByteWriter& out, const MovieContents& movie)
{
    const Box box(out, "udta");
    {
        const Box creator(out, "cre8");
        out.U32(movie.creator);
    }
    out.U32(0);
}

} // namespace

std::vector<uint8_t> FileHead(int64_t mediaDataEnd)
{
    ByteWriter out;
    PutFileType(out);
    PutMediaDataHead(out, mediaDataEnd);
    return {out.Bytes().begin(), out.Bytes().end()};
}

int64_t MediaDataEndOf(std::span<const uint8_t> head)
{
    // Compared as a whole with the head that this system writes, but for the length in its last 8 bytes.
    constexpr size_t kLengthAt = kFileHeadSize - 8;
    const auto own = FileHead(0);
    if (head.size() < own.size() || !std::equal(own.begin(), own.begin() + kLengthAt, head.begin()))
        return 0;
    const uint64_t length = ByteReader(head.subspan(kLengthAt)).U64();
    constexpr uint64_t kBoxHeadSize = 16;
    if (length < kBoxHeadSize || length > static_cast<uint64_t>(INT64_MAX - kFileHeadSize))
        return 0;
    return static_cast<int64_t>(length + kFileHeadSize - kBoxHeadSize);
}

std::vector<uint8_t> MovieHeader(const MovieContents& movie)
{
    ByteWriter out;
    {
        const Box box(out, "moov");
        PutMovieHead(out, movie);
        for (size_t i = 0; i < movie.tracks.size(); ++i)
            if (movie.tracks[i].mediaType != 0 && movie.tracks[i].timeScale > 0)
                PutTrack(out, movie, i);
        PutUserData(out, movie);
    }
    return {out.Bytes().begin(), out.Bytes().end()};
}

} // namespace platform
