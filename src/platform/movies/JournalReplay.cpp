// SPDX-License-Identifier: MIT
#include "platform/movies/JournalReplay.h"

#include "platform/movies/MovieFragments.h"
#include "platform/movies/SampleDescriptions.h"
#include "platform/movies/TrackAlignment.h"

#include <algorithm>

namespace platform {
namespace {

constexpr uint64_t kMaxDescriptions = 4096;
constexpr int64_t kLatest = int64_t{1} << 60; // nanoseconds: 36 years

} // namespace

void JournalReplay::Add(const JournalBox& box)
{
    ByteReader bytes(box.payload);
    movie.creationTime = bytes.U64();
    movie.creator = bytes.U32();
    if (!ReadTracks(bytes))
        return;
    SampleLogDecoder decoder;
    SampleRun run;
    while (!bytes.AtEnd() && decoder.Decode(bytes, run) && run.track < movie.tracks.size() &&
           run.position + run.size <= box.position)
        AddRun(run);
}

bool JournalReplay::ReadTracks(ByteReader& bytes)
{
    const uint64_t count = bytes.Number();
    if (bytes.Failed() || count > kMaximumTracks)
        return false;
    movie.tracks.resize(std::max<size_t>(movie.tracks.size(), count));
    states.resize(movie.tracks.size());
    for (size_t i = 0; i < count; ++i) {
        TrackContents& track = movie.tracks[i];
        const FourCharCode type = bytes.U32();
        const bool isKnown = type == kVideoMediaType || type == kSoundMediaType || type == kTimecodeMediaType;
        track.mediaType = isKnown ? type : 0;
        track.timeScale = static_cast<int32_t>(std::clamp<uint64_t>(bytes.Number(), 1, INT32_MAX));
        track.width = static_cast<Fixed>(bytes.Number());
        track.height = static_cast<Fixed>(bytes.Number());
        track.volume = static_cast<int16_t>(bytes.U16());
        if (bytes.U8() != 0)
            if (const auto offset = static_cast<int64_t>(bytes.U64()); offset > -kLatest && offset < kLatest)
                states[i].captureOffset = offset;
        const auto recordedTime = static_cast<int64_t>(bytes.Number());
        if (bytes.Failed() || recordedTime > kMaxMediaDuration || !ReadDescriptions(bytes, track))
            return false;
        states[i].recordedTime = std::max(states[i].recordedTime, recordedTime);
    }
    return true;
}

bool JournalReplay::ReadDescriptions(ByteReader& bytes, TrackContents& track)
{
    const uint64_t first = bytes.Number();
    const uint64_t count = bytes.Number();
    if (bytes.Failed() || first > kMaxDescriptions || count > kMaxDescriptions)
        return false;
    for (uint64_t i = first; i < first + count; ++i) {
        const auto description = bytes.Raw(bytes.Number());
        if (bytes.Failed())
            return false;
        if (track.descriptions.size() <= i)
            track.descriptions.resize(i + 1);
        track.descriptions[i].assign(description.begin(), description.end());
    }
    return true;
}

void JournalReplay::AddRun(const SampleRun& run)
{
    TrackContents& track = movie.tracks[run.track];
    TrackState& state = states[run.track];
    const bool known = run.description < track.descriptions.size() && !track.descriptions[run.description].empty();
    // A frame that did not fit the buffer repeats the bytes of the previous one.
    const bool repeated = run.count == 1 && state.last && run.position == state.last->position;
    const bool plausible = run.count >= 1 && run.count <= run.size &&
                           run.position >= (repeated ? kFileHeadSize : std::max(dataEnd, kFileHeadSize)) &&
                           run.duration <= INT32_MAX && run.count <= INT32_MAX && run.size / run.count <= INT32_MAX &&
                           state.recordedTime + run.count * run.duration <= kMaxMediaDuration;
    if (!plausible)
        return;
    dataEnd = std::max(dataEnd, run.position + run.size);
    const int64_t length = run.count * run.duration;
    if (known) {
        if (state.last) {
            const int64_t gap = state.recordedTime - state.firstTime - track.duration;
            Join(state, std::min<int64_t>(gap, INT32_MAX - state.last->duration));
        } else {
            state.firstTime = state.recordedTime;
        }
        state.last = run;
        track.duration += length;
        track.samples += run.count;
        mediaBytes += run.size;
    }
    state.recordedTime += length;
}

// Adds a track's last run. Its last sample is extended if samples after it are missing.
void JournalReplay::Join(TrackState& state, int64_t gap)
{
    SampleRun run = *state.last;
    if (gap > 0) {
        const int64_t sampleSize = run.size / run.count;
        SampleRun stretched = run;
        stretched.count = 1;
        stretched.duration += gap;
        stretched.position += sampleSize * (run.count - 1);
        stretched.size -= sampleSize * (run.count - 1);
        movie.tracks[run.track].duration += gap;
        run.count -= 1;
        run.size = sampleSize * run.count;
        if (run.count > 0)
            movie.samples.Add(run);
        run = stretched;
    }
    movie.samples.Add(run);
}

MovieContents JournalReplay::TakeMovie()
{
    for (size_t i = 0; i < states.size(); ++i) {
        TrackContents& track = movie.tracks[i];
        if (states[i].last)
            Join(states[i], 0);
        // A number that no box has declared belongs to no sample either.
        for (auto& description : track.descriptions)
            if (description.empty())
                description = UnknownDescription(track);
        if (states[i].captureOffset)
            track.captureOffset = LaterBy(*states[i].captureOffset, states[i].firstTime, track.timeScale);
        if (track.duration > 0)
            InsertEdit(track.edits, states[i].firstTime * kMovieTimeScale / track.timeScale,
                       {MovieTimeOf(track.duration, track.timeScale), 0}, track.timeScale);
    }
    return std::move(movie);
}

} // namespace platform
