// SPDX-License-Identifier: MIT
#pragma once

#include "platform/movies/MovieContents.h"

#include <cstdint>
#include <span>
#include <vector>

namespace platform {

/// Position and size of the reserved space that becomes the head of the media data.
inline constexpr int64_t kReservedPosition = 20;
inline constexpr size_t kReservedSize = 16;

/// Position of the initial header of a fragmented movie.
inline constexpr int64_t kInitialHeaderPosition = kReservedPosition + static_cast<int64_t>(kReservedSize);

/// Size of everything in front of the first fragment. One page of memory, so that a process that is killed has written
/// the initial header completely or not at all.
inline constexpr int64_t kFileHeadSize = 4096;

/// The first bytes of a new movie: "ftyp", the reserved space, and space for the initial header.
std::vector<uint8_t> FileHead();

/// What the reserved space holds in a finished movie: the head of the one "mdat" that reaches up to the header at
/// `headerPosition`.
std::vector<uint8_t> MediaDataHead(int64_t headerPosition);

/// The position of the header of a finished movie whose reserved space holds these bytes; 0 for an unfinished movie.
int64_t HeaderPositionIn(std::span<const uint8_t> reserved);

/// The first bytes of a finished movie: those of `FileHead`, with the media data's head in the reserved space.
std::vector<uint8_t> FinishedFront(int64_t headerPosition);

/// The header at the start of a fragmented movie, from `kInitialHeaderPosition` up to the first fragment: "moov" with
/// the descriptions known so far, and "mvex". Empty if they don't fit.
std::vector<uint8_t> InitialHeader(const MovieContents& movie);

/// One fragment of a movie that is being written: "moof" and the head of its "mdat", in space that is reserved in front
/// of the samples until all of them are known.
class MovieFragment {
public:
    /// Bytes in front of the samples.
    static constexpr size_t kHeadSize = 2048;

    /// What is written there while the fragment grows: the head of an "mdat" that reaches to the end of the file.
    static std::vector<uint8_t> OpenHead();

    /// Starts a fragment whose head is at `position`.
    void Begin(int64_t position);

    /// Position of the fragment in the file; 0 if none is open.
    int64_t Position() const { return head; }
    /// Whether a fragment is open.
    bool IsOpen() const { return head != 0; }
    /// Whether the fragment has no samples.
    bool IsEmpty() const { return runs.empty(); }

    /// Whether the run fits the space of this fragment's head. If not, it needs a new fragment.
    bool HasSpaceFor(const SampleRun& run) const;

    /// Adds samples that start at the media time `mediaTime`.
    void Add(const SampleRun& run, int64_t mediaTime);

    /// Ends the fragment, whose samples end at `dataEnd`, and returns its head. Leaves out samples with a description
    /// beyond the first `announced` ones of their track.
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
    size_t headSpace = 0;
    std::vector<TimedRun> runs;
};

} // namespace platform
