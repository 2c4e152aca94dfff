#pragma once

#include "platform/movies/MovieContents.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace platform {

/// Keeps what a movie's header will need in blocks between the media data, while the movie is recorded.
class RecoveryJournal {
public:
    RecoveryJournal();

    /// True when it is time for a block: half a second after the last one, and at a track's first samples.
    bool IsDue(const MovieContents& movie) const;

    /// The block to be written at `position`: all samples since the last one, and what is needed to read them.
    std::span<const uint8_t> MakeBlock(MovieContents& movie, int64_t position);

private:
    void PutTracks(const MovieContents& movie, bool repeatDescriptions);
    void PutDescriptions(const TrackContents& track, size_t alreadyKept);

    struct KeptTrack {
        size_t descriptions = 0;
        int64_t duration = 0;
    };

    uint64_t recording;
    int64_t previousBlock = 0;
    int64_t descriptionsKeptAt = 0;
    std::chrono::steady_clock::time_point lastBlock;
    std::vector<KeptTrack> kept;
    std::vector<uint8_t> runs;
    ByteWriter payload;
    ByteWriter block;
};

/// A block read back from a file.
struct JournalBlock {
    int64_t position = 0;
    int64_t previous = 0; ///< position of the block before; 0 for none
    uint64_t recording = 0;
    std::vector<uint8_t> payload;
};

/// The head of every block: what it begins with, and how long that is.
inline constexpr uint64_t kJournalMagic = 0x564D6A9E1DC3F08B;
inline constexpr size_t kJournalHeadSize = 40;

/// Length of the whole block that begins with the bytes at `head`; none where they begin no block for `position`.
std::optional<size_t> JournalBlockSize(std::span<const uint8_t> head, int64_t position);

/// Reads a whole block. False where its checksum is wrong.
bool ReadJournalBlock(std::span<const uint8_t> bytes, JournalBlock& block);

/// Puts a movie together from the blocks of its journal.
class JournalReplay {
public:
    /// Takes the next block. What it holds in samples of unknown kind or outside of the media data before it is left
    /// out, as is the rest of a block that contradicts itself.
    void Add(const JournalBlock& block);

    /// The movie, with edits that show all of it. Where blocks are missing the sample before lasts until the one after,
    /// so that picture and sound stay in step behind the gap.
    MovieContents TakeMovie();

    int64_t MediaBytes() const { return mediaBytes; }

private:
    struct TrackState {
        int64_t recordedTime = 0; // where the next sample stood in the recording
        int64_t firstTime = 0;    // where the first one did
        std::optional<SampleRun> last;
    };

    bool ReadTracks(ByteReader& bytes);
    bool ReadDescriptions(ByteReader& bytes, TrackContents& track);
    void AddRun(const SampleRun& run);
    void Join(TrackState& state, int64_t gap);

    MovieContents movie;
    std::vector<TrackState> states;
    int64_t dataEnd = 0; // of the run before: none may begin earlier
    int64_t mediaBytes = 0;
};

} // namespace platform
