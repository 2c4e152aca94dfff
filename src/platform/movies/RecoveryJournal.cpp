// SPDX-License-Identifier: MIT
// The journal is in the movie file itself, as boxes between the fragments, and not in a second file.
//
// One file is more robust than two: what survives a failure is the start of one stream, so a box on disk always has its
// data before it; a movie that is moved, copied or sent to someone can still be recovered; one sync makes data and
// journal durable together; and no second file is left behind. The price is some hundred bytes per second that stay in
// the finished movie, where no sample refers to them.
//
// A box is written after each fragment. Its type is "uuid", which readers skip. It starts with our identifier, the
// number of the recording, its own position and that of the previous box, and a checksum: recovery finds the last
// intact box from the end of the file and follows the chain towards the start. Each box names the tracks and their
// media times, and contains new sample descriptions; known ones are repeated if that costs next to nothing. A damaged
// box therefore only costs its own samples.
#include "platform/movies/RecoveryJournal.h"

#include <algorithm>
#include <array>
#include <random>

namespace platform {
namespace {

constexpr int64_t kDataBetweenDescriptions = int64_t{1} << 20;
constexpr size_t kChecksumAt = kJournalHeadSize - 4;
constexpr size_t kMaxBox = size_t{1} << 20;

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

// CRC-32 of the box without its checksum field.
uint32_t Checksum(std::span<const uint8_t> box)
{
    static constexpr auto kTable = MakeChecksumTable();
    uint32_t value = UINT32_MAX;
    for (size_t i = 0; i < box.size(); ++i)
        if (i < kChecksumAt || i >= kJournalHeadSize)
            value = value >> 8 ^ kTable[(value ^ box[i]) & 0xFF];
    return ~value;
}

} // namespace

RecoveryJournal::RecoveryJournal()
{
    std::random_device random;
    recording = uint64_t{random()} << 32 | random();
}

std::span<const uint8_t> RecoveryJournal::MakeBox(MovieContents& movie, int64_t position)
{
    const bool repeat = position - descriptionsKeptAt >= kDataBetweenDescriptions;
    if (repeat)
        descriptionsKeptAt = position;
    box.Clear();
    box.U32(0);
    box.U32(CodeOf("uuid"));
    box.Raw(kJournalIdentifier);
    box.U64(recording);
    box.U64(static_cast<uint64_t>(position));
    box.U64(static_cast<uint64_t>(previousBox));
    box.U32(0);
    box.U64(movie.creationTime);
    box.U32(movie.creator);
    PutTracks(movie, repeat);
    runs.clear();
    movie.samples.TakeNew(runs);
    box.Raw(runs);
    box.SetU32(0, static_cast<uint32_t>(box.Size()));
    box.SetU32(kChecksumAt, Checksum(box.Bytes()));
    previousBox = position;
    return box.Bytes();
}

void RecoveryJournal::PutTracks(const MovieContents& movie, bool repeatDescriptions)
{
    kept.resize(movie.tracks.size());
    box.Number(movie.tracks.size());
    for (size_t i = 0; i < movie.tracks.size(); ++i) {
        const TrackContents& track = movie.tracks[i];
        box.U32(track.mediaType);
        box.Number(static_cast<uint32_t>(track.timeScale));
        box.Number(static_cast<uint32_t>(track.width));
        box.Number(static_cast<uint32_t>(track.height));
        box.U16(static_cast<uint16_t>(track.volume));
        box.U8(track.captureOffset ? 1 : 0);
        if (track.captureOffset)
            box.U64(static_cast<uint64_t>(*track.captureOffset));
        box.Number(static_cast<uint64_t>(kept[i].duration));
        // The last description is the one in use.
        const size_t alreadyKept = kept[i].descriptions;
        PutDescriptions(track, repeatDescriptions && alreadyKept > 0 ? alreadyKept - 1 : alreadyKept);
        kept[i] = {track.descriptions.size(), track.duration};
    }
}

void RecoveryJournal::PutDescriptions(const TrackContents& track, size_t alreadyKept)
{
    box.Number(alreadyKept);
    box.Number(track.descriptions.size() - alreadyKept);
    for (size_t i = alreadyKept; i < track.descriptions.size(); ++i) {
        box.Number(track.descriptions[i].size());
        box.Raw(track.descriptions[i]);
    }
}

std::optional<size_t> JournalBoxSize(std::span<const uint8_t> head, int64_t position)
{
    ByteReader bytes(head);
    const uint32_t size = bytes.U32();
    const uint32_t type = bytes.U32();
    const auto identifier = bytes.Raw(kJournalIdentifier.size());
    bytes.U64();
    const uint64_t ownPosition = bytes.U64();
    if (bytes.Failed() || type != CodeOf("uuid") || !std::ranges::equal(identifier, kJournalIdentifier) ||
        ownPosition != static_cast<uint64_t>(position) || size < kJournalHeadSize || size > kMaxBox)
        return {};
    return size;
}

bool ReadJournalBox(std::span<const uint8_t> bytes, JournalBox& box)
{
    if (bytes.size() < kJournalHeadSize || Checksum(bytes) != ByteReader(bytes.subspan(kChecksumAt)).U32())
        return false;
    ByteReader head(bytes.subspan(8 + kJournalIdentifier.size()));
    box.recording = head.U64();
    box.position = static_cast<int64_t>(head.U64());
    box.previous = static_cast<int64_t>(head.U64());
    box.payload.assign(bytes.begin() + kJournalHeadSize, bytes.end());
    return true;
}

} // namespace platform
