// The journal stands in the movie file itself, as blocks between the media data, and not in a second file.
//
// One file is the more robust choice: what survives a failure is a beginning of one stream, so that a block on disk
// has its data before it; a movie that is moved, copied or sent to someone can still be recovered; one request makes
// data and journal durable together; and nothing is left lying about. The price is some hundred bytes a second that
// stay in the finished movie, where no sample refers to them.
//
// A block is written twice a second, behind the data that it tells of, and the disk is then asked to make it durable.
// So a process that is killed, or a machine that loses power, loses less than the last second. A block begins with
// a magic number, the number of the recording, its own position and that of the block before, length and checksum:
// a reader finds the last whole block from the end of the file and goes from block to block towards the beginning.
// Each block names the tracks and its media times, and new sample descriptions; known descriptions are repeated
// where that costs next to nothing. A damaged block therefore costs its own samples only.
#include "platform/movies/RecoveryJournal.h"

#include "platform/movies/MovieHeader.h"
#include "platform/movies/SampleDescriptions.h"

#include <algorithm>
#include <array>
#include <random>

namespace platform {
namespace {

constexpr auto kInterval = std::chrono::milliseconds(500);
constexpr int64_t kDataBetweenDescriptions = int64_t{1} << 20;
constexpr size_t kChecksumAt = 36;
constexpr uint32_t kLargestPayload = 64U << 20;
constexpr uint64_t kMostDescriptions = 1U << 20;

constexpr std::array<uint32_t, 256> MakeChecksumTable()
{
    std::array<uint32_t, 256> table{};
    for (uint32_t i = 0; i < 256; ++i) {
        uint32_t value = i;
        for (int bit = 0; bit < 8; ++bit)
            value = (value & 1) != 0 ? value >> 1 ^ 0xEDB88320U : value >> 1;
        table[i] = value;
    }
    return table;
}

// A cyclic redundancy check of 32 bits over the block, but for the field that holds it.
uint32_t Checksum(std::span<const uint8_t> block)
{
    static constexpr auto kTable = MakeChecksumTable();
    uint32_t value = UINT32_MAX;
    for (size_t i = 0; i < block.size(); ++i)
        if (i < kChecksumAt || i >= kJournalHeadSize)
            value = value >> 8 ^ kTable[(value ^ block[i]) & 0xFF];
    return ~value;
}

} // namespace

RecoveryJournal::RecoveryJournal() : lastBlock(std::chrono::steady_clock::now())
{
    std::random_device random;
    recording = uint64_t{random()} << 32 | random();
}

bool RecoveryJournal::IsDue(const MovieContents& movie) const
{
    if (!movie.samples.HasNew())
        return false;
    for (size_t i = 0; i < movie.tracks.size(); ++i)
        if (movie.tracks[i].samples > 0 && (i >= kept.size() || kept[i].descriptions == 0))
            return true;
    return std::chrono::steady_clock::now() - lastBlock >= kInterval;
}

std::span<const uint8_t> RecoveryJournal::MakeBlock(MovieContents& movie, int64_t position)
{
    payload.Clear();
    payload.U64(movie.creationTime);
    payload.U32(movie.creator);
    const bool repeat = position - descriptionsKeptAt >= kDataBetweenDescriptions;
    if (repeat)
        descriptionsKeptAt = position;
    PutTracks(movie, repeat);
    runs.clear();
    movie.samples.TakeNew(runs);
    payload.Raw(runs);

    block.Clear();
    block.U64(kJournalMagic);
    block.U64(recording);
    block.U64(static_cast<uint64_t>(position));
    block.U64(static_cast<uint64_t>(previousBlock));
    block.U32(static_cast<uint32_t>(payload.Size()));
    block.U32(0);
    block.Raw(payload.Bytes());
    block.SetU32(kChecksumAt, Checksum(block.Bytes()));
    previousBlock = position;
    lastBlock = std::chrono::steady_clock::now();
    return block.Bytes();
}

void RecoveryJournal::PutTracks(const MovieContents& movie, bool repeatDescriptions)
{
    kept.resize(movie.tracks.size());
    payload.Number(movie.tracks.size());
    for (size_t i = 0; i < movie.tracks.size(); ++i) {
        const TrackContents& track = movie.tracks[i];
        payload.U32(track.mediaType);
        payload.Number(static_cast<uint32_t>(track.timeScale));
        payload.Number(static_cast<uint32_t>(track.width));
        payload.Number(static_cast<uint32_t>(track.height));
        payload.U16(static_cast<uint16_t>(track.volume));
        payload.Number(static_cast<uint64_t>(kept[i].duration));
        // The last description is the one in use.
        const size_t alreadyKept = kept[i].descriptions;
        PutDescriptions(track, repeatDescriptions && alreadyKept > 0 ? alreadyKept - 1 : alreadyKept);
        kept[i] = {track.descriptions.size(), track.duration};
    }
}

void RecoveryJournal::PutDescriptions(const TrackContents& track, size_t alreadyKept)
{
    payload.Number(alreadyKept);
    payload.Number(track.descriptions.size() - alreadyKept);
    for (size_t i = alreadyKept; i < track.descriptions.size(); ++i) {
        payload.Number(track.descriptions[i].size());
        payload.Raw(track.descriptions[i]);
    }
}

std::optional<size_t> JournalBlockSize(std::span<const uint8_t> head, int64_t position)
{
    ByteReader bytes(head);
    if (bytes.U64() != kJournalMagic)
        return {};
    bytes.U64();
    const uint64_t ownPosition = bytes.U64();
    bytes.U64();
    const uint32_t length = bytes.U32();
    if (bytes.Failed() || ownPosition != static_cast<uint64_t>(position) || length > kLargestPayload)
        return {};
    return kJournalHeadSize + length;
}

bool ReadJournalBlock(std::span<const uint8_t> bytes, JournalBlock& block)
{
    if (bytes.size() < kJournalHeadSize || Checksum(bytes) != ByteReader(bytes.subspan(kChecksumAt)).U32())
        return false;
    ByteReader head(bytes.subspan(sizeof kJournalMagic));
    block.recording = head.U64();
    block.position = static_cast<int64_t>(head.U64());
    block.previous = static_cast<int64_t>(head.U64());
    block.payload.assign(bytes.begin() + kJournalHeadSize, bytes.end());
    return true;
}

void JournalReplay::Add(const JournalBlock& block)
{
    ByteReader bytes(block.payload);
    movie.creationTime = bytes.U64();
    movie.creator = bytes.U32();
    if (!ReadTracks(bytes))
        return;
    SampleLogDecoder decoder;
    SampleRun run;
    while (!bytes.AtEnd() && decoder.Decode(bytes, run) && run.track < movie.tracks.size() &&
           run.position + run.size <= block.position)
        AddRun(run);
}

bool JournalReplay::ReadTracks(ByteReader& bytes)
{
    const uint64_t count = bytes.Number();
    if (bytes.Failed() || count > kMaximumTracks)
        return false;
    movie.tracks.resize(std::max<size_t>(movie.tracks.size(), count));
    states.resize(movie.tracks.size());
    for (size_t i = 0; i < count; ++i) {
        TrackContents& track = movie.tracks[i];
        const FourCharCode type = bytes.U32();
        track.mediaType = type == kVideoMediaType || type == kSoundMediaType ? type : 0;
        track.timeScale = static_cast<int32_t>(std::clamp<uint64_t>(bytes.Number(), 1, INT32_MAX));
        track.width = static_cast<Fixed>(bytes.Number());
        track.height = static_cast<Fixed>(bytes.Number());
        track.volume = static_cast<int16_t>(bytes.U16());
        const auto recordedTime = static_cast<int64_t>(bytes.Number());
        if (bytes.Failed() || recordedTime > kLongestMedia || !ReadDescriptions(bytes, track))
            return false;
        states[i].recordedTime = std::max(states[i].recordedTime, recordedTime);
    }
    return true;
}

bool JournalReplay::ReadDescriptions(ByteReader& bytes, TrackContents& track)
{
    const uint64_t first = bytes.Number();
    const uint64_t count = bytes.Number();
    if (bytes.Failed() || first > kMostDescriptions || count > kMostDescriptions)
        return false;
    for (uint64_t i = first; i < first + count; ++i) {
        const auto description = bytes.Raw(bytes.Number());
        if (bytes.Failed())
            return false;
        if (track.descriptions.size() <= i)
            track.descriptions.resize(i + 1);
        track.descriptions[i].assign(description.begin(), description.end());
    }
    return true;
}

void JournalReplay::AddRun(const SampleRun& run)
{
    TrackContents& track = movie.tracks[run.track];
    TrackState& state = states[run.track];
    const bool known = run.description < track.descriptions.size() && !track.descriptions[run.description].empty();
    const bool plausible =
        run.count >= 1 && run.count <= run.size && run.position >= std::max(dataEnd, kFileHeadSize) &&
        run.duration <= INT32_MAX && run.count <= INT32_MAX && run.size / run.count <= INT32_MAX &&
        track.samples + run.count <= UINT32_MAX && state.recordedTime + run.count * run.duration <= kLongestMedia;
    if (!plausible)
        return;
    dataEnd = run.position + run.size;
    const int64_t length = run.count * run.duration;
    if (known) {
        if (state.last) {
            const int64_t gap = state.recordedTime - state.firstTime - track.duration;
            Join(state, std::min<int64_t>(gap, INT32_MAX - state.last->duration));
        } else {
            state.firstTime = state.recordedTime;
        }
        state.last = run;
        track.duration += length;
        track.samples += run.count;
        mediaBytes += run.size;
    }
    state.recordedTime += length;
}

// Adds a track's last run, whose last sample lasts longer where something is missing behind it.
void JournalReplay::Join(TrackState& state, int64_t gap)
{
    SampleRun run = *state.last;
    if (gap > 0) {
        const int64_t sampleSize = run.size / run.count;
        SampleRun stretched = run;
        stretched.count = 1;
        stretched.duration += gap;
        stretched.position += sampleSize * (run.count - 1);
        stretched.size -= sampleSize * (run.count - 1);
        movie.tracks[run.track].duration += gap;
        run.count -= 1;
        run.size = sampleSize * run.count;
        if (run.count > 0)
            movie.samples.Add(run);
        run = stretched;
    }
    movie.samples.Add(run);
}

MovieContents JournalReplay::TakeMovie()
{
    for (size_t i = 0; i < states.size(); ++i) {
        TrackContents& track = movie.tracks[i];
        if (states[i].last)
            Join(states[i], 0);
        // A number that no block explained belongs to no sample either.
        for (auto& description : track.descriptions)
            if (description.empty())
                description = DescriptionOfEmptyTrack(track);
        if (track.duration > 0)
            InsertEdit(track.edits, states[i].firstTime * kMovieTimeScale / track.timeScale,
                       {MovieTimeOf(track.duration, track.timeScale), 0}, track.timeScale);
    }
    return std::move(movie);
}

} // namespace platform
