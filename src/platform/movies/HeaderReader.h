// SPDX-License-Identifier: MIT
#pragma once

#include "platform/movies/ByteWriter.h"
#include "platform/movies/TrackReading.h"

#include <map>

namespace platform {

/// Reads the tables of a movie's header ("moov", ISO/IEC 14496-12). The tables are read into memory as stored; then the
/// chunks are walked once, each with its samples.
class HeaderReader {
public:
    /// `header`: the content of the box, which must outlive the object.
    explicit HeaderReader(std::span<const uint8_t> header) : header(header) {}

    /// Adds the tracks, by their numbers, and adds damage to the faults of the movie or track.
    void Read(MovieTables& movie, std::map<uint32_t, TrackReading>& tracks);

private:
    std::vector<MemoryBox> Children(const MemoryBox& box, const char* name);
    void ReadTrack(const MemoryBox& box);
    void ReadMedia(const MemoryBox& box);
    void ReadTable(const MemoryBox& box);
    void ReadDescriptions(ByteReader& bytes);
    void ReadDurations(ByteReader& bytes);
    void ReadSizes(ByteReader& bytes);
    void ReadCompactSizes(ByteReader& bytes);
    void ReadGroups(ByteReader& bytes);
    void ReadChunks(ByteReader& bytes, bool wide);
    void ReadExtension(const MemoryBox& box, std::map<uint32_t, TrackReading>& tracks);
    void Fault(const std::string& text) { track.tables.faults.push_back(text); }

    std::span<const uint8_t> header;
    TrackReading track;
    bool allWhole = true;
};

} // namespace platform
