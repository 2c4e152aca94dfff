// SPDX-License-Identifier: MIT
// A movie of frames from a tape.
//
// The deck's clock is the only one: a frame's position is its number, and sound is assumed to be as long as its frames.
// If a camera's sound runs slightly fast or slow relative to its pictures (consumer DV allows that), it is corrected by
// the same slight resampling as a microphone; other sound is copied bit for bit.
#include "tape/TapeMovie.h"

#include "platform/clock/MonotonicClock.h"
#include "platform/compression/FrameCompressor.h"
#include "platform/movies/Movies.h"
#include "platform/sound/SoundFormatConversion.h"

#include <algorithm>
#include <cmath>

namespace velmora {
namespace {

using namespace platform;

constexpr int32_t kVideoScale = 30'000;
constexpr int32_t kFrameWidth = 720;
constexpr int16_t kFullVolume = 256;
constexpr int32_t kTrackEnd = -1;
// Frames without a timecode that a run may contain: a damaged one does not end it.
constexpr int64_t kFramesWithoutTimecode = 25;

std::span<const uint8_t> BytesOf(std::span<const int16_t> samples)
{
    return {reinterpret_cast<const uint8_t*>(samples.data()), samples.size_bytes()};
}

} // namespace

std::unique_ptr<TapeMovie> TapeMovie::Create(const std::string& path, bool isPal, Result& result)
{
    std::unique_ptr<TapeMovie> made(new TapeMovie(isPal));
    result = made->movie.Create(path);
    if (result == noErr)
        result = made->movie.AddTrack(made->video, kVideoMediaType, kVideoScale, kFrameWidth, made->FrameHeight(), 0);
    return result == noErr ? std::move(made) : nullptr;
}

Result TapeMovie::Keep(Result result)
{
    movie.Keep(result);
    return Failure();
}

int64_t TapeMovie::TimeOf(int64_t frame) const
{
    const int64_t units = frame * FrameUnits();
    return units / kVideoScale * kNanosecondsPerSecond + units % kVideoScale * kNanosecondsPerSecond / kVideoScale;
}

Result TapeMovie::Add(std::span<const uint8_t> frame, const DvSound& frameSound,
                      const std::optional<TapeTimecode>& timecode, uint32_t lostBefore)
{
    if (length == 0)
        lostBefore = 0; // these belong to no movie
    if (AddPending(lostBefore) != noErr)
        return Failure();
    length += lostBefore;
    NoteTimecode(timecode);
    AddSound(frameSound, lostBefore);
    if (videoDescription.empty())
        videoDescription =
            RecordOf(DescriptionOfPassThrough(CodeOf(isPal ? "dvcp" : "dvc "), kFrameWidth, FrameHeight()));
    pending.assign(frame.begin(), frame.end());
    ++length;
    return Failure();
}

// Adds the newest frame, once it is known how many lost ones follow it.
Result TapeMovie::AddPending(uint32_t lostAfter)
{
    if (pending.empty() || Failure() != noErr)
        return Failure();
    const auto duration = static_cast<int32_t>(int64_t{FrameUnits()} * (1 + std::min<uint32_t>(lostAfter, 1'000'000)));
    Keep(video->AddSamples({.bytes = pending, .description = videoDescription, .durationPerSample = duration}));
    pending.clear();
    return Failure();
}

Result TapeMovie::AddSound(const DvSound& frameSound, uint32_t lostBefore)
{
    if (frameSound.samples.empty() && soundRate == 0)
        return Failure();
    if (soundRate == 0) {
        soundRate = frameSound.sampleRate;
        const auto scale = static_cast<int32_t>(std::lround(soundRate));
        Keep(movie.AddTrack(sound, kSoundMediaType, scale, 0, 0, kFullVolume));
        const SoundDescription record = DescribeSound({}, soundRate, 2);
        soundDescription.assign(record.begin(), record.end());
        AddSilence(0, length);
    } else {
        AddSilence(length - lostBefore, length);
    }
    return frameSound.samples.empty() ? AddSilence(length, length + 1) : AddSamples(frameSound.samples, length);
}

// Silence for frames without sound.
Result TapeMovie::AddSilence(int64_t fromFrame, int64_t toFrame)
{
    constexpr int64_t kFramesAtOnce = 25;
    const auto samplesBefore = [this](int64_t frame) {
        return std::llround(static_cast<double>(frame) * FrameUnits() / kVideoScale * soundRate);
    };
    for (int64_t frame = fromFrame; frame < toFrame; frame += kFramesAtOnce) {
        const int64_t end = std::min(toFrame, frame + kFramesAtOnce);
        silence.assign(2 * static_cast<size_t>(samplesBefore(end) - samplesBefore(frame)), 0);
        AddSamples(silence, frame);
    }
    return Failure();
}

Result TapeMovie::AddSamples(std::span<const int16_t> samples, int64_t frame)
{
    const CapturedSound line = clock.Take({.bytes = BytesOf(samples),
                                           .format = {.sampleRate = soundRate, .channels = 2, .sampleSize = 16},
                                           .captureTime = TimeOf(frame)});
    const auto count = static_cast<int32_t>(line.bytes.size() / 4);
    if (count == 0 || Failure() != noErr)
        return Failure();
    return Keep(sound->AddSamples({.bytes = line.bytes, .description = soundDescription, .count = count}));
}

// A frame whose timecode can't be read continues the run around it.
Result TapeMovie::NoteTimecode(const std::optional<TapeTimecode>& timecode)
{
    if (!timecode)
        return run && length - run->known >= kFramesWithoutTimecode ? EndTimecodeRun() : Failure();
    const int32_t number = FrameNumberOf(*timecode, isPal);
    if (run && (number != run->number + (length - run->start) || timecode->dropFrame != run->dropFrame))
        EndTimecodeRun();
    if (!run)
        run = TimecodeRun{length, number, length, timecode->dropFrame};
    run->known = length + 1;
    return Failure();
}

Result TapeMovie::EndTimecodeRun()
{
    if (!run || Failure() != noErr)
        return Failure();
    if (!timecodes && Keep(movie.AddTrack(timecodes, kTimecodeMediaType, kVideoScale, 0, 0, 0)) != noErr)
        return Failure();
    const auto number = static_cast<uint32_t>(run->number);
    const uint8_t bytes[] = {static_cast<uint8_t>(number >> 24), static_cast<uint8_t>(number >> 16),
                             static_cast<uint8_t>(number >> 8), static_cast<uint8_t>(number)};
    const auto duration = static_cast<int32_t>((run->known - run->start) * FrameUnits());
    const auto description = MakeTimecodeDescription(kVideoScale, FrameUnits(), isPal ? 25 : 30, run->dropFrame);
    Keep(timecodes->AddSamples({.bytes = bytes, .description = description, .durationPerSample = duration}));
    // Durations in the movie are rounded up: a run that is followed by another one extends to its end.
    const auto place = static_cast<int32_t>(run->start * FrameUnits() * kMovieTimeScale / kVideoScale);
    Keep(timecodes->Insert(place > timecodePlace ? place : kTrackEnd, timecodeTime, duration));
    timecodePlace = std::max(place, timecodePlace) +
                    static_cast<int32_t>((int64_t{duration} * kMovieTimeScale + kVideoScale - 1) / kVideoScale);
    timecodeTime += duration;
    run.reset();
    return Failure();
}

Result TapeMovie::Finish(std::optional<TapeTime> recorded)
{
    AddPending(0);
    EndTimecodeRun();
    if (recorded)
        movie.SetRecordingDate(TextOf(*recorded, 'T'));
    for (const auto& track : {video, sound})
        if (track)
            Keep(track->InsertAll(kTrackEnd));
    return movie.Finish();
}

} // namespace velmora
