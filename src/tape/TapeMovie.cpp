// SPDX-License-Identifier: MIT
// A movie of frames from a tape.
//
// The deck's clock is the only one: a frame's place is its number, and sound is taken to be as long as the frames that
// bring it. A camera whose sound runs a little fast or slow against its pictures (consumer DV allows that) is put right
// by the same slight resampling as a microphone; others pass bit for bit.
#include "tape/TapeMovie.h"

#include "platform/clock/MonotonicClock.h"
#include "platform/compression/FrameCompressor.h"
#include "platform/memory/FixedPoint.h"
#include "platform/sound/SoundFormatConversion.h"

#include <algorithm>
#include <cmath>

namespace velmora {
namespace {

using namespace platform;

constexpr FourCharCode kCreator = CodeOf("TVOD");
constexpr FourCharCode kTimecodeType = CodeOf("tmcd");
constexpr int32_t kVideoScale = 30'000;
constexpr int32_t kMovieScale = 600;
constexpr int16_t kFullVolume = 256;
constexpr Fixed kNormalRate = 0x10000;
// So many frames without a timecode may lie in a run: one that is damaged does not end it.
constexpr int64_t kFramesWithoutTimecode = 25;

std::span<const uint8_t> BytesOf(std::span<const int16_t> samples)
{
    return {reinterpret_cast<const uint8_t*>(samples.data()), samples.size_bytes()};
}

} // namespace

std::unique_ptr<TapeMovie> TapeMovie::Create(const std::string& path, bool isPal, Result& result)
{
    std::unique_ptr<TapeMovie> made(new TapeMovie(isPal));
    result = made->CreateFile(path);
    return result == noErr ? std::move(made) : nullptr;
}

TapeMovie::~TapeMovie()
{
    if (handler != 0)
        CloseMovieStorage(handler);
    if (movie != 0)
        DisposeMovie(movie);
    for (const Line* line : {&video, &sound, &timecodes}) {
        DisposeHandle(line->data);
        DisposeHandle(line->record);
    }
}

Result TapeMovie::CreateFile(const std::string& path)
{
    const OwnedBlock numbers(sizeof handler + sizeof movie);
    const Handle reference = NewHandle(0);
    SetHandleBytes(reference, {reinterpret_cast<const uint8_t*>(path.data()), path.size()});
    const Address movieNumber = numbers.Get() + static_cast<Address>(sizeof handler);
    const Result result = CreateMovieStorage(reference, CodeOf("alis"), kCreator, 0, createMovieFileDeleteCurFile,
                                             numbers.Get(), movieNumber);
    DisposeHandle(reference);
    if (result != noErr)
        return result;
    handler = Peek<DataHandler>(numbers.Get());
    movie = Peek<Movie>(movieNumber);
    return MakeLine(video, kVideoMediaType, kVideoScale, true);
}

Result TapeMovie::MakeLine(Line& line, FourCharCode type, int32_t scale, bool isPicture)
{
    line.track = NewMovieTrack(movie, Long2Fix(isPicture ? 720 : 0), Long2Fix(isPicture ? isPal ? 576 : 480 : 0),
                               type == kSoundMediaType ? kFullVolume : 0);
    line.media = NewTrackMedia(line.track, type, scale, 0, 0);
    line.data = NewHandle(0);
    line.record = NewHandle(0);
    return line.media == 0 ? invalidMedia : BeginMediaEdits(line.media);
}

Result TapeMovie::Keep(Result result)
{
    if (firstFailure == noErr)
        firstFailure = result;
    return firstFailure;
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
        lostBefore = 0; // they belong to no movie
    if (AddPending(lostBefore) != noErr)
        return firstFailure;
    length += lostBefore;
    NoteTimecode(timecode);
    AddSound(frameSound, lostBefore);
    Keep(SetHandleBytes(video.data, frame));
    if (!video.described) {
        const ImageDescription image =
            DescriptionOfPassThrough(CodeOf(isPal ? "dvcp" : "dvc "), 720, isPal ? 576 : 480);
        Keep(SetHandleBytes(video.record, RecordOf(image)));
        video.described = true;
    }
    framePending = true;
    ++length;
    return firstFailure;
}

// Adds the newest frame, once it is known how many lost ones follow it.
Result TapeMovie::AddPending(uint32_t lostAfter)
{
    if (!framePending || firstFailure != noErr)
        return firstFailure;
    framePending = false;
    const auto duration = static_cast<int32_t>(int64_t{FrameUnits()} * (1 + std::min<uint32_t>(lostAfter, 1'000'000)));
    return Keep(AddMediaSample(video.media, video.data, 0, GetHandleSize(video.data), duration, video.record, 1, 0, 0));
}

Result TapeMovie::AddSound(const DvSound& frameSound, uint32_t lostBefore)
{
    if (frameSound.samples.empty() && soundRate == 0)
        return firstFailure;
    if (soundRate == 0) {
        soundRate = frameSound.sampleRate;
        Keep(MakeLine(sound, kSoundMediaType, static_cast<int32_t>(std::lround(soundRate)), false));
        const SoundDescription record = DescribeSound({}, soundRate, 2);
        Keep(SetHandleBytes(sound.record, record));
        AddSilence(0, length);
    } else {
        AddSilence(length - lostBefore, length);
    }
    return frameSound.samples.empty() ? AddSilence(length, length + 1) : AddSamples(frameSound.samples, length);
}

// The sound of frames without.
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
    return firstFailure;
}

Result TapeMovie::AddSamples(std::span<const int16_t> samples, int64_t frame)
{
    const CapturedSound line = clock.Take({.bytes = BytesOf(samples),
                                           .format = {.sampleRate = soundRate, .channels = 2, .sampleSize = 16},
                                           .captureTime = TimeOf(frame)});
    const auto count = static_cast<int32_t>(line.bytes.size() / 4);
    if (count == 0 || firstFailure != noErr)
        return firstFailure;
    Keep(SetHandleBytes(sound.data, line.bytes));
    return Keep(AddMediaSample(sound.media, sound.data, 0, count * 4, 1, sound.record, count, 0, 0));
}

// A frame whose timecode can't be read goes on with the run that it lies in.
Result TapeMovie::NoteTimecode(const std::optional<TapeTimecode>& timecode)
{
    if (!timecode)
        return run && length - run->known >= kFramesWithoutTimecode ? EndTimecodeRun() : firstFailure;
    const int32_t number = FrameNumberOf(*timecode, isPal);
    if (run && (number != run->number + (length - run->start) || timecode->dropFrame != run->dropFrame))
        EndTimecodeRun();
    if (!run)
        run = TimecodeRun{length, number, length, timecode->dropFrame};
    run->known = length + 1;
    return firstFailure;
}

Result TapeMovie::EndTimecodeRun()
{
    if (!run || firstFailure != noErr)
        return firstFailure;
    if (timecodes.media == 0)
        Keep(MakeLine(timecodes, kTimecodeType, kVideoScale, false));
    Keep(SetHandleBytes(timecodes.record,
                        MakeTimecodeDescription(kVideoScale, FrameUnits(), isPal ? 25 : 30, run->dropFrame)));
    const auto number = static_cast<uint32_t>(run->number);
    const uint8_t bytes[] = {static_cast<uint8_t>(number >> 24), static_cast<uint8_t>(number >> 16),
                             static_cast<uint8_t>(number >> 8), static_cast<uint8_t>(number)};
    Keep(SetHandleBytes(timecodes.data, bytes));
    const auto duration = static_cast<int32_t>((run->known - run->start) * FrameUnits());
    Keep(AddMediaSample(timecodes.media, timecodes.data, 0, sizeof bytes, duration, timecodes.record, 1, 0, 0));
    // Lengths in the movie are rounded up: a run that follows at once goes to the end.
    const auto place = static_cast<int32_t>(run->start * FrameUnits() * kMovieScale / kVideoScale);
    Keep(
        InsertMediaIntoTrack(timecodes.track, place > timecodePlace ? place : -1, timecodeTime, duration, kNormalRate));
    timecodePlace = std::max(place, timecodePlace) +
                    static_cast<int32_t>((int64_t{duration} * kMovieScale + kVideoScale - 1) / kVideoScale);
    timecodeTime += duration;
    run.reset();
    return firstFailure;
}

Result TapeMovie::Finish(std::optional<TapeTime> recorded)
{
    AddPending(0);
    EndTimecodeRun();
    if (recorded)
        SetMovieRecordingDate(movie, TextOf(*recorded, 'T'));
    for (const Line* line : {&video, &sound, &timecodes})
        if (line->media != 0)
            Keep(EndMediaEdits(line->media));
    for (const Line* line : {&video, &sound})
        if (line->media != 0)
            Keep(InsertMediaIntoTrack(line->track, -1, 0, GetMediaDuration(line->media), kNormalRate));
    Keep(AddMovieToStorage(movie, handler));
    Keep(CloseMovieStorage(handler));
    handler = 0;
    return firstFailure;
}

} // namespace velmora
