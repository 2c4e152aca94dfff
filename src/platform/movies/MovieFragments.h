// SPDX-License-Identifier: MIT
#pragma once

#include "platform/movies/MovieContents.h"

#include <cstdint>
#include <span>
#include <vector>

namespace platform {

/// Where the room is that becomes the head of the media data, and its length.
inline constexpr int64_t kRoomPosition = 20;
inline constexpr size_t kRoomSize = 16;

/// Where the initial header of a fragmented movie begins.
inline constexpr int64_t kInitialHeaderPosition = kRoomPosition + static_cast<int64_t>(kRoomSize);

/// Length of all that is in front of the first fragment. One page of memory, so that a process that is killed has
/// written the initial header whole or not at all.
inline constexpr int64_t kFileHeadSize = 4096;

/// What a new movie begins with: "ftyp", the room, and place for the initial header.
std::vector<uint8_t> FileHead();

/// What the room holds in a finished movie: the head of the one "mdat" that reaches up to the header at
/// `headerPosition`.
std::vector<uint8_t> MediaDataHead(int64_t headerPosition);

/// Where the header of a finished movie is whose room holds these bytes; 0 for an unfinished one.
int64_t HeaderPositionIn(std::span<const uint8_t> room);

/// The first bytes of a finished movie: those of `FileHead`, with the media data's head in the room.
std::vector<uint8_t> FinishedFront(int64_t headerPosition);

/// The header that a fragmented movie begins with, from `kInitialHeaderPosition` up to the first fragment: "moov" with
/// the descriptions known so far, and "mvex". Empty where they don't fit.
std::vector<uint8_t> InitialHeader(const MovieContents& movie);

/// One fragment of a movie that is being written: "moof" and the head of its "mdat", in place that is kept in front of
/// the samples until all of them are known.
class MovieFragment {
public:
    /// Bytes in front of the samples.
    static constexpr size_t kHeadSize = 2048;

    /// What is there while the fragment grows: the head of an "mdat" that reaches to the end of the file.
    static std::vector<uint8_t> OpenHead();

    /// Begins with the fragment whose head is at `position`.
    void Begin(int64_t position);

    /// Position of the fragment in the file; 0 while none is open.
    int64_t Position() const { return head; }
    /// Whether a fragment is begun, and whether it has no samples.
    bool IsOpen() const { return head != 0; }
    /// Whether the fragment has no samples.
    bool IsEmpty() const { return runs.empty(); }

    /// False where the run needs a fragment of its own.
    bool HasRoomFor(const SampleRun& run) const;

    /// Adds samples that begin at the media time `mediaTime`.
    void Add(const SampleRun& run, int64_t mediaTime);

    /// Ends the fragment, whose samples end at `dataEnd`: what its head then is. Samples with a description beyond the
    /// `announced` ones of their track are left out.
    std::vector<uint8_t> End(int64_t dataEnd, std::span<const size_t> announced);

private:
    struct TimedRun {
        SampleRun run;
        int64_t mediaTime;
    };

    void PutTrack(ByteWriter& out, uint32_t track, size_t announced) const;
    void PutTrackFragment(ByteWriter& out, std::span<const TimedRun> part) const;
    void PutTrackRun(ByteWriter& out, std::span<const TimedRun> part) const;
    static bool Continues(const TimedRun& last, const TimedRun& next);

    int64_t head = 0;
    uint32_t sequence = 0;
    size_t room = 0;
    std::vector<TimedRun> runs;
};

} // namespace platform
