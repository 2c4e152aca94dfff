// SPDX-License-Identifier: MIT
#include "platform/movies/SampleLog.h"

namespace platform {
namespace {

constexpr size_t kBlockSize = 64 << 10;
constexpr size_t kMaxRunSize = 64;
constexpr int64_t kMaxMergedRun = int64_t{1} << 20;

// Flags beside the track number.
constexpr uint64_t kPositionFollows = 1;
constexpr uint64_t kDescriptionFollows = 2;
constexpr uint64_t kNotSync = 4;
constexpr int kTrackShift = 3;

bool Continues(const SampleRun& last, const SampleRun& next)
{
    return next.count > 1 && last.count > 1 && last.track == next.track && last.description == next.description &&
           last.sync == next.sync && last.duration == next.duration && last.position + last.size == next.position &&
           last.size % last.count == 0 && next.size % next.count == 0 &&
           last.size / last.count == next.size / next.count && last.size + next.size <= kMaxMergedRun;
}

int64_t& LastDescription(std::vector<int64_t>& descriptions, uint32_t track)
{
    if (descriptions.size() <= track)
        descriptions.resize(track + 1, -1);
    return descriptions[track];
}

} // namespace

SampleRun RunAsOneSample(SampleRun run)
{
    run.duration *= run.count;
    run.count = 1;
    return run;
}

void SampleLog::Add(const SampleRun& run)
{
    if (last && Continues(*last, run)) {
        last->count += run.count;
        last->size += run.size;
        return;
    }
    if (last)
        Encode(*last);
    last = run;
}

void SampleLog::Encode(const SampleRun& run)
{
    int64_t& description = LastDescription(lastDescriptions, run.track);
    uint64_t head = uint64_t{run.track} << kTrackShift;
    head |= run.position != expectedPosition ? kPositionFollows : 0;
    head |= run.description != description ? kDescriptionFollows : 0;
    head |= run.sync ? 0 : kNotSync;
    encoded.Clear();
    encoded.Number(head);
    encoded.Number(static_cast<uint64_t>(run.count));
    encoded.Number(static_cast<uint64_t>(run.size));
    encoded.Number(static_cast<uint64_t>(run.duration));
    if ((head & kDescriptionFollows) != 0)
        encoded.Number(run.description);
    if ((head & kPositionFollows) != 0)
        encoded.Number(static_cast<uint64_t>(run.position));
    description = run.description;
    expectedPosition = run.position + run.size;
    ++encodedRuns;

    if (blocks.empty() || blocks.back().size() + kMaxRunSize > kBlockSize) {
        blocks.emplace_back();
        blocks.back().reserve(kBlockSize);
    }
    blocks.back().insert(blocks.back().end(), encoded.Bytes().begin(), encoded.Bytes().end());
}

void SampleLog::ForEach(const std::function<void(const SampleRun&)>& visit) const
{
    SampleLogDecoder decoder;
    SampleRun run;
    for (const auto& block : blocks)
        for (ByteReader bytes(block); !bytes.AtEnd() && decoder.Decode(bytes, run);)
            visit(run);
    if (last)
        visit(*last);
}

void SampleLog::TakeNew(std::vector<uint8_t>& out)
{
    if (last)
        Encode(*last);
    last.reset();
    for (size_t i = takenBlock; i < blocks.size(); ++i) {
        const size_t start = i == takenBlock ? takenByte : 0;
        out.insert(out.end(), blocks[i].begin() + static_cast<std::ptrdiff_t>(start), blocks[i].end());
    }
    if (!blocks.empty()) {
        takenBlock = blocks.size() - 1;
        takenByte = blocks.back().size();
    }
    // The next run has its position and description in full, so that it can be decoded without the ones before it.
    expectedPosition = -1;
    lastDescriptions.clear();
}

bool SampleLog::HasNew() const
{
    return last || (!blocks.empty() && (takenBlock + 1 < blocks.size() || takenByte < blocks.back().size()));
}

void SampleLog::Clear()
{
    *this = SampleLog();
}

size_t SampleLog::MemoryUsed() const
{
    return blocks.size() * (kBlockSize + sizeof(std::vector<uint8_t>));
}

bool SampleLogDecoder::Decode(ByteReader& bytes, SampleRun& run)
{
    const uint64_t head = bytes.Number();
    if (bytes.Failed() || head >> kTrackShift >= kMaximumTracks)
        return false;
    run.track = static_cast<uint32_t>(head >> kTrackShift);
    run.sync = (head & kNotSync) == 0;
    run.count = static_cast<int64_t>(bytes.Number());
    run.size = static_cast<int64_t>(bytes.Number());
    run.duration = static_cast<int64_t>(bytes.Number());
    int64_t& description = LastDescription(lastDescriptions, run.track);
    if ((head & kDescriptionFollows) != 0)
        description = static_cast<int64_t>(bytes.Number() & UINT32_MAX);
    run.position = (head & kPositionFollows) != 0 ? static_cast<int64_t>(bytes.Number()) : expectedPosition;
    run.description = static_cast<uint32_t>(description);
    if (bytes.Failed() || description < 0 || run.position < 0 || run.size > INT64_MAX - run.position)
        return false;
    expectedPosition = run.position + run.size;
    return true;
}

} // namespace platform
