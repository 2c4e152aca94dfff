// SPDX-License-Identifier: MIT
// The tables of the header are read into memory as they are; then the chunks are walked once, each with its samples.
// Fragments add ranges of samples behind those. Nothing that a table says is believed before it has been compared with
// the length of its box, so a damaged or crafted file costs no more memory than a few times its own tables.
#include "platform/movies/MovieTables.h"

#include "platform/movies/ByteWriter.h"

#include <algorithm>
#include <map>
#include <numeric>

namespace platform {
namespace {

constexpr int64_t kMaxHeader = int64_t{1} << 30;
constexpr uint32_t kUnusualDuration = 0x80000000U;

// A box in memory.
struct MemoryBox {
    FourCharCode type = 0;
    std::span<const uint8_t> content;
};

// The boxes within `bytes`. False in `whole` where the last one is cut short.
std::vector<MemoryBox> BoxesIn(std::span<const uint8_t> bytes, bool& whole)
{
    constexpr size_t kHead = 8;
    std::vector<MemoryBox> boxes;
    whole = true;
    while (bytes.size() >= kHead) {
        ByteReader head(bytes);
        uint64_t length = head.U32();
        const auto type = static_cast<FourCharCode>(head.U32());
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

// Defaults of a track's fragments ("trex").
struct FragmentDefaults {
    uint32_t description = 0;
    uint32_t duration = 0;
    uint32_t size = 0;
};

struct ChunkGroup {
    uint32_t firstChunk = 0;
    uint32_t samples = 0;
    uint32_t description = 0;
};

// One track while it is read.
struct TrackReading {
    TrackTables tables;
    uint64_t timedSamples = 0; // by the table of durations
    uint64_t offsetSamples = 0;
    bool hasOffsets = false;
    bool hasSizes = false;
    uint32_t sampleSize = 0;
    std::vector<uint32_t> sizes;
    std::vector<ChunkGroup> groups;
    std::vector<uint64_t> chunks;
    uint32_t soundFrameBytes = 0; // of uncompressed sound whose table counts frames of one byte
    FragmentDefaults defaults;
    uint64_t nextFragmentTime = 0;
};

class HeaderReader {
public:
    explicit HeaderReader(std::span<const uint8_t> header) : header(header) {}
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

std::vector<MemoryBox> HeaderReader::Children(const MemoryBox& box, const char* name)
{
    bool whole = true;
    auto boxes = BoxesIn(box.content, whole);
    if (!whole)
        Fault(std::string("its box \"") + name + "\" holds one that is longer than it");
    return boxes;
}

void HeaderReader::ReadDescriptions(ByteReader& bytes)
{
    const uint32_t count = bytes.U32();
    for (uint32_t i = 0; i < count && !bytes.Failed(); ++i) {
        const uint32_t length = bytes.U32();
        const auto code = static_cast<FourCharCode>(bytes.U32());
        const auto rest = bytes.Raw(length < 8 ? SIZE_MAX : length - 8);
        if (bytes.Failed())
            break;
        track.tables.descriptions.push_back(code);
        // Channels and bits of a sound description, for tables that count frames as one byte each.
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
        Fault("its table of durations is cut short");
    if (unusual)
        Fault("times of its samples do not rise");
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
        return Fault("its table of sizes is cut short");
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
        Fault("its table of sizes is cut short");
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
        Fault("its table of chunks is cut short");
    const auto rises = [](const ChunkGroup& a, const ChunkGroup& b) { return a.firstChunk >= b.firstChunk; };
    if ((!track.groups.empty() && track.groups.front().firstChunk != 1) ||
        std::ranges::adjacent_find(track.groups, rises) != track.groups.end())
        Fault("its table of chunks does not rise from 1 on");
}

void HeaderReader::ReadChunks(ByteReader& bytes, bool wide)
{
    const uint32_t count = bytes.U32();
    const auto entries = bytes.Raw(uint64_t{count} * (wide ? 8 : 4));
    if (bytes.Failed())
        return Fault("its table of chunk positions is cut short");
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
        movie.faults.emplace_back("the header is damaged: a box is longer than it");
    for (const MemoryBox& box : boxes) {
        if (box.type != CodeOf("trak"))
            continue;
        track = {};
        ReadTrack(box);
        if (!tracks.emplace(track.tables.number, track).second)
            movie.faults.push_back("two tracks have the number " + std::to_string(track.tables.number));
    }
    track = {};
    for (const MemoryBox& box : boxes)
        if (box.type == CodeOf("mvex")) {
            movie.isFragmented = true;
            ReadExtension(box, tracks);
        }
}

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

// Fragments.

struct FragmentHead {
    int64_t base = 0;
    FragmentDefaults defaults;
};

uint32_t FlagsOf(ByteReader& bytes)
{
    return bytes.U32() & 0xFFFFFF;
}

FragmentHead ReadFragmentHead(ByteReader bytes, int64_t fragmentStart, const TrackReading& track)
{
    FragmentHead head{.base = fragmentStart, .defaults = track.defaults};
    const uint32_t flags = FlagsOf(bytes);
    bytes.U32(); // the track
    if ((flags & 0x1) != 0)
        head.base = static_cast<int64_t>(std::min<uint64_t>(bytes.U64(), INT64_MAX / 2));
    if ((flags & 0x2) != 0)
        head.defaults.description = bytes.U32();
    if ((flags & 0x8) != 0)
        head.defaults.duration = bytes.U32();
    if ((flags & 0x10) != 0)
        head.defaults.size = bytes.U32();
    return head;
}

void ReadRun(ByteReader bytes, const FragmentHead& head, int64_t& position, TrackReading& track)
{
    const uint32_t flags = FlagsOf(bytes);
    const uint32_t count = bytes.U32();
    if ((flags & 0x1) != 0)
        position = head.base + static_cast<int32_t>(bytes.U32());
    if ((flags & 0x4) != 0)
        bytes.U32();
    // A run whose samples all have the defaults takes no bytes for them.
    const bool listed = (flags & 0xF00) != 0;
    TrackTables& tables = track.tables;
    SampleRange range{tables.samples + 1, 0, head.defaults.description, position, 0};
    uint64_t time = 0;
    for (uint32_t i = 0; listed && i < count && !bytes.Failed(); ++i) {
        const uint32_t duration = (flags & 0x100) != 0 ? bytes.U32() : head.defaults.duration;
        const uint32_t size = (flags & 0x200) != 0 ? bytes.U32() : head.defaults.size;
        bytes.Raw(((flags & 0x400) != 0 ? 4 : 0) + ((flags & 0x800) != 0 ? 4 : 0));
        if (bytes.Failed())
            break;
        time += duration;
        range.size += size;
        ++range.samples;
    }
    if (!listed) {
        range.samples = count;
        range.size = int64_t{count} * head.defaults.size;
        time = uint64_t{count} * head.defaults.duration;
    }
    if (range.samples != count)
        tables.faults.emplace_back("a run of its fragments is cut short");
    tables.ranges.push_back(range);
    tables.samples += range.samples;
    // A fragment that begins later than the one ahead of it ends leaves the sample before the gap that much longer.
    track.nextFragmentTime += time;
    tables.duration = track.nextFragmentTime;
    position += range.size;
}

void ReadTrackFragment(const MemoryBox& box, int64_t fragmentStart, std::map<uint32_t, TrackReading>& tracks,
                       MovieTables& movie)
{
    bool whole = true;
    const auto boxes = BoxesIn(box.content, whole);
    const auto headBox = std::ranges::find(boxes, CodeOf("tfhd"), &MemoryBox::type);
    ByteReader number(headBox == boxes.end() ? std::span<const uint8_t>() : headBox->content);
    number.U32();
    const auto found = tracks.find(number.U32());
    if (!whole || number.Failed() || found == tracks.end()) {
        movie.faults.push_back("the fragment at " + std::to_string(fragmentStart) + " is damaged");
        return;
    }
    TrackReading& track = found->second;
    const FragmentHead head = ReadFragmentHead(ByteReader(headBox->content), fragmentStart, track);
    int64_t position = head.base;
    for (const MemoryBox& part : boxes) {
        ByteReader bytes(part.content);
        if (part.type == CodeOf("tfdt")) {
            const bool wide = (bytes.U32() >> 24) == 1;
            const uint64_t time = wide ? bytes.U64() : bytes.U32();
            if (time < track.nextFragmentTime)
                track.tables.faults.push_back("the fragment at " + std::to_string(fragmentStart) +
                                              " begins before the one ahead of it ends");
            track.nextFragmentTime = time;
        }
        if (part.type == CodeOf("trun"))
            ReadRun(bytes, head, position, track);
    }
}

std::vector<uint8_t> Content(const MovieFile& file, const FileBox& box, std::vector<std::string>& faults)
{
    const int64_t length = std::min(box.end, file.Size()) - box.content;
    if (length > kMaxHeader) {
        faults.push_back("the header at " + std::to_string(box.start) + " is too long to be one");
        return {};
    }
    std::vector<uint8_t> bytes(static_cast<size_t>(std::max<int64_t>(length, 0)));
    bytes.resize(file.Read(box.content, bytes));
    return bytes;
}

} // namespace

MovieTables ReadMovieTables(const MovieFile& file)
{
    MovieTables movie;
    movie.boxes = file.Boxes(0, file.Size());
    std::map<uint32_t, TrackReading> tracks;
    for (const FileBox& box : movie.boxes) {
        if (box.type != CodeOf("moov"))
            continue;
        if (std::exchange(movie.hasHeader, true)) {
            movie.faults.emplace_back("there is more than one header");
            break;
        }
        const auto bytes = Content(file, box, movie.faults);
        HeaderReader(bytes).Read(movie, tracks);
    }
    for (auto& [number, track] : tracks)
        PlaceSamples(track);
    for (const FileBox& box : movie.boxes) {
        if (box.type != CodeOf("moof"))
            continue;
        movie.isFragmented = true;
        const auto bytes = Content(file, box, movie.faults);
        bool whole = true;
        for (const MemoryBox& child : BoxesIn(bytes, whole))
            if (child.type == CodeOf("traf"))
                ReadTrackFragment(child, box.start, tracks, movie);
        if (!whole)
            movie.faults.push_back("the fragment at " + std::to_string(box.start) + " is damaged");
    }
    for (auto& [number, track] : tracks)
        movie.tracks.push_back(std::move(track.tables));
    return movie;
}

} // namespace platform
