// SPDX-License-Identifier: MIT
#include "platform/movies/HeaderReader.h"

#include <algorithm>

namespace platform {
namespace {

constexpr uint32_t kUnusualDuration = 0x80000000U;

// Walks the chunks of the header's tables.
void PlaceSamples(TrackReading& track)
{
    TrackTables& tables = track.tables;
    const bool framesAsBytes =
        tables.mediaType == kSoundMediaType && track.sampleSize == 1 && track.soundFrameBytes > 1;
    const uint64_t evenSize = framesAsBytes ? track.soundFrameBytes : track.sampleSize;
    uint64_t sample = 0;
    size_t group = 0;
    for (size_t chunk = 0; chunk < track.chunks.size() && !track.groups.empty(); ++chunk) {
        while (group + 1 < track.groups.size() && track.groups[group + 1].firstChunk <= chunk + 1)
            ++group;
        const uint64_t left = tables.headerSamples - std::min(sample, tables.headerSamples);
        const uint64_t count = track.groups[group].samples;
        const uint64_t listed = std::min(count, left);
        uint64_t size = evenSize * listed;
        if (track.sampleSize == 0)
            for (uint64_t i = sample; i < sample + listed && i < track.sizes.size(); ++i)
                size += track.sizes[i];
        tables.ranges.push_back({sample + 1, listed, track.groups[group].description,
                                 static_cast<int64_t>(std::min<uint64_t>(track.chunks[chunk], INT64_MAX)),
                                 static_cast<int64_t>(std::min<uint64_t>(size, INT64_MAX))});
        sample += count;
    }
    tables.samples = tables.headerSamples;
    tables.duration = tables.headerTableTime;
    track.nextFragmentTime = tables.headerTableTime;
    const auto differs = [&](uint64_t other, const char* table) {
        if (other != tables.headerSamples)
            tables.faults.push_back(std::string(table) + " " + std::to_string(other) + " samples, its table of sizes " +
                                    std::to_string(tables.headerSamples));
    };
    differs(sample, "its chunks have");
    differs(track.timedSamples, "its table of durations has");
    if (track.hasOffsets)
        differs(track.offsetSamples, "its table of time offsets has");
}

} // namespace

std::vector<MemoryBox> BoxesIn(std::span<const uint8_t> bytes, bool& whole)
{
    constexpr size_t kHead = 8;
    std::vector<MemoryBox> boxes;
    whole = true;
    while (bytes.size() >= kHead) {
        ByteReader head(bytes);
        uint64_t length = head.U32();
        const FourCharCode type = head.U32();
        size_t skipped = kHead;
        if (length == 1) {
            length = head.U64();
            skipped += sizeof(uint64_t);
        }
        // A list of user data ends with a length of 0.
        if (length == 0 && type == 0)
            break;
        whole = length >= skipped && length <= bytes.size();
        if (!whole)
            break;
        boxes.push_back({type, bytes.subspan(skipped, length - skipped)});
        bytes = bytes.subspan(length);
    }
    return boxes;
}

std::vector<MemoryBox> HeaderReader::Children(const MemoryBox& box, const char* name)
{
    bool whole = true;
    auto boxes = BoxesIn(box.content, whole);
    if (!whole)
        Fault(std::string("its box \"") + name + "\" contains a box longer than itself");
    return boxes;
}

void HeaderReader::ReadDescriptions(ByteReader& bytes)
{
    const uint32_t count = bytes.U32();
    for (uint32_t i = 0; i < count && !bytes.Failed(); ++i) {
        const uint32_t length = bytes.U32();
        const FourCharCode code = bytes.U32();
        const auto rest = bytes.Raw(length < 8 ? SIZE_MAX : length - 8);
        if (bytes.Failed())
            break;
        track.tables.descriptions.push_back(code);
        // Channels and bits of a sound description, for tables that count each byte of a frame as one sample.
        ByteReader sound(rest);
        sound.Raw(8);
        sound.Raw(8);
        const uint32_t channels = sound.U16();
        const uint32_t bits = sound.U16();
        track.soundFrameBytes = sound.Failed() ? 0 : channels * ((bits + 7) / 8);
    }
    if (bytes.Failed() || track.tables.descriptions.empty())
        Fault("its descriptions are damaged or missing");
}

void HeaderReader::ReadDurations(ByteReader& bytes)
{
    const uint32_t count = bytes.U32();
    bool unusual = false;
    for (uint32_t i = 0; i < count && !bytes.Failed(); ++i) {
        const uint64_t samples = bytes.U32();
        const uint32_t duration = bytes.U32();
        unusual |= duration >= kUnusualDuration;
        track.timedSamples += samples;
        track.tables.headerTableTime += samples * duration;
    }
    if (bytes.Failed())
        Fault("its table of durations is truncated");
    if (unusual)
        Fault("the times of its samples do not increase");
}

void HeaderReader::ReadSizes(ByteReader& bytes)
{
    track.hasSizes = true;
    track.sampleSize = bytes.U32();
    const uint32_t count = bytes.U32();
    track.tables.headerSamples = count;
    if (track.sampleSize != 0)
        return;
    const auto entries = bytes.Raw(uint64_t{count} * 4);
    if (bytes.Failed())
        return Fault("its table of sizes is truncated");
    ByteReader reader(entries);
    track.sizes.reserve(count);
    for (uint32_t i = 0; i < count; ++i)
        track.sizes.push_back(reader.U32());
}

void HeaderReader::ReadCompactSizes(ByteReader& bytes)
{
    track.hasSizes = true;
    const uint32_t width = bytes.U32() & 0xFF;
    const uint32_t count = bytes.U32();
    track.tables.headerSamples = count;
    for (uint32_t i = 0; i < count && !bytes.Failed(); ++i) {
        const uint32_t value = width == 16 ? bytes.U16() : bytes.U8();
        track.sizes.push_back(width == 4 ? value >> 4 : value);
        if (width == 4 && ++i < count)
            track.sizes.push_back(value & 0xF);
    }
    if (bytes.Failed())
        Fault("its table of sizes is truncated");
}

void HeaderReader::ReadGroups(ByteReader& bytes)
{
    const uint32_t count = bytes.U32();
    for (uint32_t i = 0; i < count && !bytes.Failed(); ++i) {
        const ChunkGroup group{.firstChunk = bytes.U32(), .samples = bytes.U32(), .description = bytes.U32()};
        if (!bytes.Failed())
            track.groups.push_back(group);
    }
    if (bytes.Failed())
        Fault("its table of chunks is truncated");
    const auto rises = [](const ChunkGroup& a, const ChunkGroup& b) { return a.firstChunk >= b.firstChunk; };
    if ((!track.groups.empty() && track.groups.front().firstChunk != 1) ||
        std::ranges::adjacent_find(track.groups, rises) != track.groups.end())
        Fault("its table of chunks does not increase from 1");
}

void HeaderReader::ReadChunks(ByteReader& bytes, bool wide)
{
    const uint32_t count = bytes.U32();
    const auto entries = bytes.Raw(uint64_t{count} * (wide ? 8 : 4));
    if (bytes.Failed())
        return Fault("its table of chunk positions is truncated");
    ByteReader reader(entries);
    for (uint32_t i = 0; i < count; ++i)
        track.chunks.push_back(wide ? reader.U64() : reader.U32());
}

void HeaderReader::ReadTable(const MemoryBox& box)
{
    ByteReader bytes(box.content);
    bytes.U32(); // version and flags
    if (box.type == CodeOf("stsd"))
        ReadDescriptions(bytes);
    else if (box.type == CodeOf("stts"))
        ReadDurations(bytes);
    else if (box.type == CodeOf("stsz"))
        ReadSizes(bytes);
    else if (box.type == CodeOf("stz2"))
        ReadCompactSizes(bytes);
    else if (box.type == CodeOf("stsc"))
        ReadGroups(bytes);
    else if (box.type == CodeOf("stco") || box.type == CodeOf("co64"))
        ReadChunks(bytes, box.type == CodeOf("co64"));
    else if (box.type == CodeOf("stss")) {
        track.tables.hasSyncTable = true;
        for (uint32_t left = bytes.U32(); left > 0 && !bytes.Failed() && !bytes.AtEnd(); --left)
            track.tables.syncSamples.push_back(bytes.U32());
    } else if (box.type == CodeOf("ctts")) {
        track.hasOffsets = true;
        for (uint32_t left = bytes.U32(); left > 0 && !bytes.Failed(); --left) {
            track.offsetSamples += bytes.U32();
            bytes.U32();
        }
    }
}

void HeaderReader::ReadMedia(const MemoryBox& box)
{
    for (const MemoryBox& child : Children(box, "mdia")) {
        ByteReader bytes(child.content);
        const bool wide = bytes.U8() == 1;
        bytes.Raw(3);
        if (child.type == CodeOf("mdhd")) {
            bytes.Raw(wide ? 16 : 8);
            track.tables.timeScale = bytes.U32();
            track.tables.headerDuration = wide ? bytes.U64() : bytes.U32();
            if (bytes.Failed() || track.tables.timeScale == 0)
                Fault("its media header is damaged");
        } else if (child.type == CodeOf("hdlr")) {
            bytes.U32();
            track.tables.mediaType = bytes.U32();
        } else if (child.type == CodeOf("minf")) {
            for (const MemoryBox& part : Children(child, "minf"))
                if (part.type == CodeOf("stbl"))
                    for (const MemoryBox& table : Children(part, "stbl"))
                        ReadTable(table);
        }
    }
}

void HeaderReader::ReadTrack(const MemoryBox& box)
{
    for (const MemoryBox& child : Children(box, "trak")) {
        if (child.type == CodeOf("mdia"))
            ReadMedia(child);
        if (child.type != CodeOf("tkhd"))
            continue;
        ByteReader bytes(child.content);
        const bool wide = bytes.U8() == 1;
        bytes.Raw(3 + (wide ? 16 : 8));
        track.tables.number = bytes.U32();
    }
}

void HeaderReader::ReadExtension(const MemoryBox& box, std::map<uint32_t, TrackReading>& tracks)
{
    for (const MemoryBox& child : Children(box, "mvex")) {
        ByteReader bytes(child.content);
        bytes.U32();
        const uint32_t number = bytes.U32();
        if (const auto found = tracks.find(number); child.type == CodeOf("trex") && found != tracks.end())
            found->second.defaults = {.description = bytes.U32(), .duration = bytes.U32(), .size = bytes.U32()};
    }
}

void HeaderReader::Read(MovieTables& movie, std::map<uint32_t, TrackReading>& tracks)
{
    const auto boxes = BoxesIn(header, allWhole);
    if (!allWhole)
        movie.faults.emplace_back("the header is damaged: it contains a box longer than itself");
    for (const MemoryBox& box : boxes) {
        if (box.type != CodeOf("trak"))
            continue;
        track = {};
        ReadTrack(box);
        if (!tracks.emplace(track.tables.number, track).second)
            movie.faults.push_back("two tracks have the number " + std::to_string(track.tables.number));
    }
    for (auto& [number, found] : tracks)
        PlaceSamples(found);
    track = {};
    for (const MemoryBox& box : boxes)
        if (box.type == CodeOf("mvex")) {
            movie.isFragmented = true;
            ReadExtension(box, tracks);
        }
}

} // namespace platform
