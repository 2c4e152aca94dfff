// SPDX-License-Identifier: MIT
// A movie that is being written:
//
//   ftyp  free(reserved)  moov(mvhd trak... mvex(mehd trex...))  free  { moof(mfhd traf(tfhd tfdt trun...)...) free
//   mdat uuid }...
//
// Samples are written as they arrive. In front of a fragment's samples space is reserved, in which an "mdat" up to the
// end of the file starts; once the fragment is complete, it is overwritten with the fragment's "moof" and the head of
// its own "mdat". The initial header is overwritten with each fragment in the same way: it has the present duration and
// the descriptions known so far. A track that never gets samples is not in the file. So readers see a complete movie at
// every moment.
//
// A sound buffer is one sample of its fragment, since readers keep an entry for each sample in memory: one per sample
// frame would be hundreds of millions in an hour. The finished movie counts sample frames.
#include "platform/movies/MovieFragments.h"

#include "platform/movies/MovieBoxes.h"
#include "platform/movies/SampleDescriptions.h"

#include <algorithm>

namespace platform {
namespace {

constexpr size_t kBoxHeadSize = 8;
constexpr uint32_t kSyncSample = 0x02000000;
constexpr uint32_t kOtherSample = 0x01010000;

// Sizes of the boxes below, to know when the space in front of a fragment is used up.
constexpr size_t kFragmentBytes = kBoxHeadSize + 16;
constexpr size_t kTrackFragmentBytes = kBoxHeadSize + 32 + 20;
constexpr size_t kTrackRunBytes = 20;
constexpr size_t kSampleBytes = 12;

// "ftyp": the file is a QuickTime movie.
void PutFileType(ByteWriter& out)
{
    const Box box(out, "ftyp");
    out.U32(CodeOf("qt  "));
    out.U32(0x20050300);
    out.U32(CodeOf("qt  "));
}

// "free": bytes that readers skip.
void PutFree(ByteWriter& out, size_t size)
{
    const Box box(out, "free");
    out.Zeros(size - kBoxHeadSize);
}

// "stts", "stsc", "stsz" and "stco" without a sample.
void PutNoTables(ByteWriter& out)
{
    for (const char* table : {"stts", "stsc", "stsz", "stco"}) {
        const Box box(out, table);
        PutVersionAndFlags(out, 0, 0);
        out.Zeros(CodeOf(table) == CodeOf("stsz") ? 8 : 4);
    }
}

// "trex": the defaults of a track's samples; here each fragment has its own values.
void PutTrackExtends(ByteWriter& out, size_t track)
{
    const Box box(out, "trex");
    PutVersionAndFlags(out, 0, 0);
    out.U32(static_cast<uint32_t>(track + 1));
    out.U32(1);
    out.Zeros(12);
}

// "mehd": the total duration of all fragments.
void PutMovieExtendsHead(ByteWriter& out, const MovieContents& movie)
{
    double seconds = 0;
    for (const TrackContents& track : movie.tracks)
        if (track.timeScale > 0)
            seconds = std::max(seconds, static_cast<double>(track.duration) / track.timeScale);
    const Box box(out, "mehd");
    PutVersionAndFlags(out, 1, 0);
    out.U64(static_cast<uint64_t>(seconds * kFileTimeScale));
}

// "mvex": says that the samples are in fragments.
void PutMovieExtends(ByteWriter& out, const MovieContents& movie)
{
    const Box box(out, "mvex");
    PutMovieExtendsHead(out, movie);
    for (size_t i = 0; i < movie.tracks.size(); ++i)
        if (!movie.tracks[i].descriptions.empty())
            PutTrackExtends(out, i);
}

void PutInitialMovie(ByteWriter& out, const MovieContents& movie)
{
    const Box box(out, "moov");
    PutMovieHead(out, movie, 0);
    for (size_t i = 0; i < movie.tracks.size(); ++i)
        if (!movie.tracks[i].descriptions.empty())
            PutTrack(out, {movie, i, 0, {}}, PutNoTables);
    PutMovieExtends(out, movie);
    PutUserData(out, movie);
}

// "tfhd": the track and the sample description; positions are relative to the start of the fragment.
void PutTrackFragmentHead(ByteWriter& out, const SampleRun& run, int64_t base)
{
    constexpr uint32_t kBaseDescriptionAndFlags = 0x000001 | 0x000002 | 0x000020;
    const Box box(out, "tfhd");
    PutVersionAndFlags(out, 0, kBaseDescriptionAndFlags);
    out.U32(run.track + 1);
    out.U64(static_cast<uint64_t>(base));
    out.U32(run.description + 1);
    out.U32(run.sync ? kSyncSample : kOtherSample);
}

// "tfdt": the media time of the first sample.
void PutTrackFragmentTime(ByteWriter& out, int64_t mediaTime)
{
    const Box box(out, "tfdt");
    PutVersionAndFlags(out, 1, 0);
    out.U64(static_cast<uint64_t>(mediaTime));
}

std::vector<uint8_t> TakeBytes(const ByteWriter& out)
{
    return {out.Bytes().begin(), out.Bytes().end()};
}

} // namespace

std::vector<uint8_t> FileHead()
{
    ByteWriter out;
    PutFileType(out);
    PutFree(out, kReservedSize);
    PutFree(out, kFileHeadSize - out.Size());
    return TakeBytes(out);
}

std::vector<uint8_t> MediaDataHead(int64_t headerPosition)
{
    ByteWriter out;
    out.U32(1); // the length has 64 bits
    out.U32(CodeOf("mdat"));
    out.U64(static_cast<uint64_t>(headerPosition - kReservedPosition));
    return TakeBytes(out);
}

std::vector<uint8_t> FinishedFront(int64_t headerPosition)
{
    auto front = FileHead();
    front.resize(kReservedPosition);
    const auto head = MediaDataHead(headerPosition);
    front.insert(front.end(), head.begin(), head.end());
    return front;
}

int64_t HeaderPositionIn(std::span<const uint8_t> reserved)
{
    ByteReader bytes(reserved);
    const uint32_t size = bytes.U32();
    const uint32_t type = bytes.U32();
    const uint64_t length = bytes.U64();
    if (bytes.Failed() || size != 1 || type != CodeOf("mdat") || length < kReservedSize ||
        length > uint64_t{INT64_MAX} / 2)
        return 0;
    return static_cast<int64_t>(length) + kReservedPosition;
}

std::vector<uint8_t> InitialHeader(const MovieContents& movie)
{
    constexpr auto kPlace = static_cast<size_t>(kFileHeadSize - kInitialHeaderPosition);
    ByteWriter out;
    PutInitialMovie(out, movie);
    if (out.Size() + kBoxHeadSize > kPlace)
        return {};
    PutFree(out, kPlace - out.Size());
    return TakeBytes(out);
}

std::vector<uint8_t> MovieFragment::OpenHead()
{
    ByteWriter out;
    out.U32(0); // up to the end of the file
    out.U32(CodeOf("mdat"));
    out.Zeros(kHeadSize - out.Size());
    return TakeBytes(out);
}

void MovieFragment::Begin(int64_t position)
{
    head = position;
    runs.clear();
    headSpace =
        kHeadSize - 2 * kBoxHeadSize - kFragmentBytes; // the rest becomes "free", followed by the head of "mdat"
}

bool MovieFragment::HasSpaceFor(const SampleRun& run) const
{
    constexpr int64_t kMaxFragment = int64_t{1} << 30;
    const auto samples = static_cast<size_t>(std::min<int64_t>(run.count, kHeadSize));
    return kTrackFragmentBytes + kTrackRunBytes + kSampleBytes * samples <= headSpace &&
           run.position + run.size - head <= kMaxFragment;
}

void MovieFragment::Add(const SampleRun& run, int64_t mediaTime)
{
    const TimedRun next{run, mediaTime};
    const auto last = std::find_if(runs.rbegin(), runs.rend(), [&](const auto& r) { return r.run.track == run.track; });
    const bool known = last != runs.rend() && Continues(*last, next);
    headSpace -= std::min(headSpace, (known ? 0 : kTrackFragmentBytes) + kTrackRunBytes +
                                         kSampleBytes * static_cast<size_t>(run.count));
    runs.push_back(next);
}

bool MovieFragment::Continues(const TimedRun& last, const TimedRun& next)
{
    return last.run.description == next.run.description && last.run.sync == next.run.sync &&
           last.mediaTime + last.run.count * last.run.duration == next.mediaTime;
}

std::vector<uint8_t> MovieFragment::End(int64_t dataEnd, std::span<const size_t> announced)
{
    ByteWriter out;
    {
        const Box box(out, "moof");
        {
            const Box sequenceBox(out, "mfhd");
            PutVersionAndFlags(out, 0, 0);
            out.U32(++sequence);
        }
        for (size_t track = 0; track < announced.size(); ++track)
            PutTrack(out, static_cast<uint32_t>(track), announced[track]);
    }
    PutFree(out, kHeadSize - kBoxHeadSize - out.Size());
    out.U32(static_cast<uint32_t>(dataEnd - head - static_cast<int64_t>(kHeadSize - kBoxHeadSize)));
    out.U32(CodeOf("mdat"));
    head = 0;
    return TakeBytes(out);
}

void MovieFragment::PutTrack(ByteWriter& out, uint32_t track, size_t announced) const
{
    std::vector<TimedRun> part;
    for (const TimedRun& next : runs) {
        if (next.run.track != track || next.run.description >= announced)
            continue;
        if (!part.empty() && !Continues(part.back(), next)) {
            PutTrackFragment(out, part);
            part.clear();
        }
        part.push_back(next);
    }
    if (!part.empty())
        PutTrackFragment(out, part);
}

// "traf": consecutive samples of one track and one description.
void MovieFragment::PutTrackFragment(ByteWriter& out, std::span<const TimedRun> part) const
{
    const Box box(out, "traf");
    PutTrackFragmentHead(out, part.front().run, head);
    PutTrackFragmentTime(out, part.front().mediaTime);
    while (!part.empty()) {
        size_t length = 1;
        while (length < part.size() &&
               part[length - 1].run.position + part[length - 1].run.size == part[length].run.position)
            ++length;
        PutTrackRun(out, part.first(length));
        part = part.subspan(length);
    }
}

// "trun": samples that are also contiguous in the file.
void MovieFragment::PutTrackRun(ByteWriter& out, std::span<const TimedRun> part) const
{
    constexpr uint32_t kPositionDurationsAndSizes = 0x000001 | 0x000100 | 0x000200;
    int64_t samples = 0;
    for (const TimedRun& timed : part)
        samples += timed.run.count;
    const Box box(out, "trun");
    PutVersionAndFlags(out, 0, kPositionDurationsAndSizes);
    out.U32(static_cast<uint32_t>(samples));
    out.U32(static_cast<uint32_t>(part.front().run.position - head));
    for (const TimedRun& timed : part)
        for (int64_t i = 0; i < timed.run.count; ++i) {
            out.U32(static_cast<uint32_t>(timed.run.duration));
            out.U32(static_cast<uint32_t>(timed.run.size / timed.run.count));
        }
}

} // namespace platform
