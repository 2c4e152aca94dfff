// SPDX-License-Identifier: MIT
#pragma once

#include "platform/movies/MovieContents.h"

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace platform {

/// Stores what a movie's header will need in boxes between the media data, while the movie is recorded.
class RecoveryJournal {
public:
    /// Creates a journal with a random number of its own.
    RecoveryJournal();

    /// The box to be written at `position`: all samples since the previous one, and what is needed to read them.
    std::span<const uint8_t> MakeBox(MovieContents& movie, int64_t position);

private:
    void PutTracks(const MovieContents& movie, bool repeatDescriptions);
    void PutDescriptions(const TrackContents& track, size_t alreadyKept);

    struct KeptTrack {
        size_t descriptions = 0;
        int64_t duration = 0;
    };

    uint64_t recording;
    int64_t previousBox = 0;
    int64_t descriptionsKeptAt = 0;
    std::vector<KeptTrack> kept;
    std::vector<uint8_t> runs;
    ByteWriter box;
};

/// A box read back from a file.
struct JournalBox {
    int64_t position = 0;
    int64_t previous = 0; ///< position of the previous box; 0 for none
    uint64_t recording = 0;
    std::vector<uint8_t> payload;
};

/// The identifier that marks our boxes of type "uuid".
inline constexpr std::array<uint8_t, 16> kJournalIdentifier = {0x56, 0x4D, 0x6A, 0x9E, 0x1D, 0xC3, 0x40, 0x8B,
                                                               0xA1, 0x27, 0xE0, 0x5C, 0x93, 0x7B, 0xF8, 0x64};

/// Size of the head of a box: size, type, identifier, recording, position, position of the previous box, checksum.
inline constexpr size_t kJournalHeadSize = 4 + 4 + 16 + 8 + 8 + 8 + 4;

/// Size of the whole box whose head is `head`; none if these bytes are not the head of a box for `position`.
std::optional<size_t> JournalBoxSize(std::span<const uint8_t> head, int64_t position);

/// Reads a whole box. Returns false if its checksum is wrong.
bool ReadJournalBox(std::span<const uint8_t> bytes, JournalBox& box);

} // namespace platform
