// SPDX-License-Identifier: MIT
#include "platform/movies/FragmentReader.h"

#include "platform/movies/ByteWriter.h"

#include <algorithm>

namespace platform {
namespace {

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
    bytes.U32(); // track
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
    // A run whose samples all have the default values takes no bytes for them.
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
        tables.faults.emplace_back("a run in its fragments is truncated");
    tables.ranges.push_back(range);
    tables.samples += range.samples;
    // If a fragment starts later than the previous one ends, the last sample before the gap is extended to fill it.
    track.nextFragmentTime += time;
    tables.duration = track.nextFragmentTime;
    position += range.size;
}

} // namespace

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
                                              " starts before the previous one ends");
            track.nextFragmentTime = time;
        }
        if (part.type == CodeOf("trun"))
            ReadRun(bytes, head, position, track);
    }
}

} // namespace platform
