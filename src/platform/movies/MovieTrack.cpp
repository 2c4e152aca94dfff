// SPDX-License-Identifier: MIT
#include "platform/movies/MovieTrack.h"

#include "platform/clock/MonotonicClock.h"
#include "platform/compression/KeyFrames.h"
#include "platform/movies/SampleDescriptions.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace platform {
namespace {

constexpr int32_t kWholeMedia = std::numeric_limits<int32_t>::max();

// The samples of one call have the same size; the size of uncompressed sound frames follows from their description.
bool HoldsSamples(const TrackContents& track, uint32_t description, int64_t size, int64_t count)
{
    if (size < 1 || count < 1)
        return false;
    if (track.mediaType == kSoundMediaType)
        if (const int64_t frame = BytesPerSoundFrame(track.descriptions[description]); frame > 0)
            return count * frame <= size;
    return size % count == 0;
}

// The file counts samples in 32 bits, except frames of uncompressed sound, which can be combined into larger samples.
bool HasSpaceFor(const TrackContents& track, uint32_t description, int64_t count, int64_t duration)
{
    const bool isCounted =
        track.mediaType != kSoundMediaType || BytesPerSoundFrame(track.descriptions[description]) == 0;
    return (!isCounted || track.samples + count <= UINT32_MAX) &&
           track.duration + count * duration <= kMaxMediaDuration;
}

// Callers mark every sample as a key frame, so the sample itself is examined.
bool IsKeySample(const TrackContents& track, uint32_t description, std::span<const uint8_t> sample)
{
    return track.mediaType != kVideoMediaType || IsKeyFrame(FormatOf(track.descriptions[description]), sample);
}

} // namespace

std::shared_ptr<MovieTrack> MovieTrack::Add(std::shared_ptr<MovieStorage> movie, Fixed width, Fixed height,
                                            int16_t volume)
{
    auto& tracks = movie->Contents().tracks;
    if (tracks.size() == kMaximumTracks)
        return nullptr;
    TrackContents track;
    track.width = width;
    track.height = height;
    track.volume = volume;
    tracks.push_back(std::move(track));
    return std::make_shared<MovieTrack>(std::move(movie), static_cast<uint32_t>(tracks.size() - 1));
}

bool MovieTrack::MakeMedia(FourCharCode type, int32_t timeScale)
{
    TrackContents& track = Contents();
    const bool isKnown = type == kVideoMediaType || type == kSoundMediaType || type == kTimecodeMediaType;
    if (track.mediaType != 0 || timeScale < 0 || !isKnown)
        return false;
    track.mediaType = type;
    track.timeScale = timeScale;
    return true;
}

Result MovieTrack::BeginEdits()
{
    if (!storage->IsOpen())
        return couldNotResolveDataRef;
    editing = true;
    return noErr;
}

Result MovieTrack::EndEdits()
{
    return std::exchange(editing, false) ? noErr : invalidMedia;
}

Result MovieTrack::WhyClosed() const
{
    if (!editing)
        return invalidMedia;
    return storage->IsOpen() && !storage->IsFinishing() ? noErr : couldNotResolveDataRef;
}

// Finds the description among those of the track, or adds it.
Result MovieTrack::UseDescription(std::span<const uint8_t> record, std::span<const uint8_t> sample)
{
    TrackContents& track = Contents();
    if (!record.empty() && std::ranges::equal(record, lastRecord) && !ShapeDependsOnSample(track.mediaType, record))
        return noErr;
    std::vector<uint8_t> fileForm;
    if (const Result result = FileFormOfDescription(track.mediaType, record, sample, fileForm); result != noErr)
        return result;
    auto found = std::ranges::find(track.descriptions, fileForm);
    if (found == track.descriptions.end())
        found = track.descriptions.insert(track.descriptions.end(), std::move(fileForm));
    lastDescription = static_cast<uint32_t>(found - track.descriptions.begin());
    lastRecord.assign(record.begin(), record.end());
    return noErr;
}

// A movie may be opened before the source of its sound knows its rate: that of a tape is only known once it plays.
void MovieTrack::TakeRateOfFirstSound(const MediaSamples& samples)
{
    TrackContents& track = Contents();
    if (track.mediaType != kSoundMediaType || track.samples > 0 || track.timeScale == 0 || !samples.captureTime)
        return;
    if (const int32_t rate = SampleRateOf(track.descriptions[lastDescription]); rate > 0)
        track.timeScale = rate;
}

// Whether the movie has the frame that this one depends on and the buffer has space. Frames of other codecs, and sound,
// need neither.
bool MovieTrack::MayAddFrame(int64_t size, bool isKey)
{
    const TrackContents& track = Contents();
    if (track.mediaType != kVideoMediaType || !IsInterFrame(FormatOf(track.descriptions[lastDescription])))
        return true;
    const bool hadKey = !needsKey;
    needsKey = (needsKey && !isKey) || !storage->WaitForSpace(size);
    if (needsKey && (hadKey || isKey))
        RequestKeyFrame();
    // Frames before the first key frame belong to the time before the recording.
    if (needsKey && track.samples > 0)
        storage->CountLostFrame();
    return !needsKey;
}

// Capture time of the first of the added samples.
std::optional<int64_t> MovieTrack::CaptureTimeOf(const MediaSamples& samples) const
{
    const TrackContents& track = Contents();
    if (!samples.captureTime || track.mediaType != kSoundMediaType)
        return samples.captureTime;
    const int64_t frameBytes = std::max<int64_t>(1, BytesPerSoundFrame(track.descriptions[lastDescription]));
    return *samples.captureTime + samples.bytesBefore / frameBytes * kNanosecondsPerSecond / track.timeScale;
}

Result MovieTrack::AddSamples(const MediaSamples& samples)
{
    if (const Result closed = WhyClosed(); closed != noErr)
        return closed;
    if (samples.durationPerSample < 0)
        return invalidDuration;
    if (const Result result = UseDescription(samples.description, samples.bytes); result != noErr)
        return result;
    TakeRateOfFirstSound(samples);
    const TrackContents& track = Contents();
    const auto size = static_cast<int64_t>(samples.bytes.size());
    if (!HoldsSamples(track, lastDescription, size, samples.count))
        return paramErr;
    if (track.timeScale == 0)
        return noErr;
    const bool isKey = IsKeySample(track, lastDescription, samples.bytes);
    if (!MayAddFrame(size, isKey)) {
        leftOutUnits += int64_t{samples.count} * samples.durationPerSample;
        return noErr;
    }
    const int64_t duration = samples.durationPerSample + std::exchange(leftOutUnits, 0);
    if (!HasSpaceFor(track, lastDescription, samples.count, duration))
        return invalidSampleTable;
    SampleRun run;
    run.track = index;
    run.description = lastDescription;
    run.sync = isKey && samples.sync;
    run.count = samples.count;
    run.duration = duration;
    return storage->AddSamples(samples.bytes, run, CaptureTimeOf(samples));
}

int32_t MovieTrack::Duration() const
{
    return static_cast<int32_t>(std::min<int64_t>(Contents().duration, kWholeMedia));
}

Result MovieTrack::Insert(int32_t trackStart, int32_t mediaTime, int32_t mediaDuration)
{
    constexpr int32_t kTrackEnd = -1;
    TrackContents& contents = Contents();
    if (contents.mediaType == 0)
        return invalidMedia;
    if (trackStart < kTrackEnd || mediaTime < 0 || mediaTime > contents.duration)
        return invalidTime;
    // The duration of media longer than 2^31 - 1 is reported as that maximum, which means all of it here.
    const int64_t duration = mediaTime == 0 && mediaDuration == kWholeMedia && contents.duration > kWholeMedia
                                 ? contents.duration
                                 : mediaDuration;
    if (duration < 0 || mediaTime + duration > contents.duration)
        return invalidDuration;
    if (duration == 0)
        return noErr;
    const int64_t at = trackStart == kTrackEnd ? DurationOf(contents.edits) : trackStart;
    InsertEdit(contents.edits, at, {MovieTimeOf(duration, contents.timeScale), mediaTime}, contents.timeScale);
    return noErr;
}

} // namespace platform
