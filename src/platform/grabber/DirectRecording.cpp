// SPDX-License-Identifier: MIT
// A recording by the grabber itself.
//
// The first frame is the beginning: sound from before it is left out to the sample, and as the session's sound has no
// holes, counting samples keeps both in step from there. A frame lasts until the next one, so each waits for its
// successor before it is added; the last one lasts as long as the one before it.
//
// When no frame comes, the sound begins by itself after a while; a video track that begins later is moved to its
// place.
#include "platform/grabber/DirectRecording.h"

#include "platform/clock/MonotonicClock.h"
#include "platform/movies/CaptureInHand.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

namespace platform {
namespace {

constexpr FourCharCode kCreator = CodeOf("TVOD");
constexpr int32_t kMovieScale = 600;       // of the places of tracks in the movie
constexpr int32_t kStandardFrameRate = 30; // of a movie with a single frame
constexpr int32_t kStandardSoundScale = 44100;
constexpr int16_t kFullVolume = 256;
constexpr Fixed kNormalRate = 0x10000;
constexpr int64_t kPatienceForPictures = 2 * kNanosecondsPerSecond;

int64_t UnitsOf(int64_t nanoseconds, int64_t scale)
{
    return nanoseconds / kNanosecondsPerSecond * scale +
           (nanoseconds % kNanosecondsPerSecond * scale + kNanosecondsPerSecond / 2) / kNanosecondsPerSecond;
}

} // namespace

std::unique_ptr<DirectRecording> DirectRecording::Begin(const Plan& plan, Result& result)
{
    std::unique_ptr<DirectRecording> recording(new DirectRecording);
    result = recording->Create(plan);
    return result == noErr ? std::move(recording) : nullptr;
}

DirectRecording::~DirectRecording()
{
    if (handler != 0)
        CloseMovieStorage(handler);
    if (movie != 0)
        DisposeMovie(movie);
    for (const Line* line : {&video, &sound}) {
        DisposeHandle(line->data);
        DisposeHandle(line->record);
    }
}

Result DirectRecording::Create(const Plan& plan)
{
    std::error_code ignored;
    if (plan.append && std::filesystem::file_size(plan.path, ignored) > 0 && !ignored)
        return dupFNErr;
    withPictures = plan.withPictures;
    continues = plan.continues;
    videoScale = plan.videoScale;
    const OwnedBlock numbers(sizeof handler + sizeof movie);
    const Handle reference = NewHandle(0);
    SetHandleBytes(reference, {reinterpret_cast<const uint8_t*>(plan.path.data()), plan.path.size()});
    const Result result = CreateMovieStorage(reference, CodeOf("alis"), kCreator, 0, createMovieFileDeleteCurFile,
                                             numbers.Get(), numbers.Get() + static_cast<Address>(sizeof handler));
    DisposeHandle(reference);
    if (result != noErr)
        return result;
    handler = Peek<DataHandler>(numbers.Get());
    movie = Peek<Movie>(numbers.Get() + static_cast<Address>(sizeof handler));
    soundScale = plan.soundScale > 0 ? plan.soundScale : kStandardSoundScale;
    return MakeLine(video, kVideoMediaType, videoScale, plan.width, plan.height);
}

Result DirectRecording::MakeLine(Line& line, FourCharCode type, int32_t scale, int32_t width, int32_t height)
{
    line.track = NewMovieTrack(movie, Long2Fix(width), Long2Fix(height), kFullVolume);
    line.media = NewTrackMedia(line.track, type, scale, 0, 0);
    line.data = NewHandle(0);
    line.record = NewHandle(0);
    return line.media == 0 ? invalidMedia : BeginMediaEdits(line.media);
}

Result DirectRecording::Keep(Result result)
{
    if (firstFailure == noErr)
        firstFailure = result;
    return result;
}

void DirectRecording::Fill(Line& line, std::span<const uint8_t> bytes, const SharedDescription& description)
{
    SetHandleBytes(line.data, bytes);
    if (line.description == description)
        return;
    SetHandleBytes(line.record, description->record);
    line.description = description;
}

int64_t DirectRecording::VideoUnits(int64_t nanoseconds) const
{
    return UnitsOf(nanoseconds, videoScale);
}

Result DirectRecording::AddFrame(const Sample& frame)
{
    // A disk that is full stays full: what was written before is the movie.
    if (firstFailure != noErr)
        return noErr;
    if (!video.start)
        video.start = frame.captureTime;
    const Result result = EndFrameAt(frame.captureTime);
    Fill(video, frame.data.Bytes(), frame.description);
    pendingTime = frame.captureTime;
    framePending = true;
    return Keep(result);
}

Result DirectRecording::EndFrameAt(int64_t captureTime)
{
    if (!framePending || firstFailure != noErr)
        return noErr;
    const int64_t units = VideoUnits(captureTime - *video.start) - VideoUnits(pendingTime - *video.start);
    return Keep(AddPendingFrame(static_cast<int32_t>(std::clamp<int64_t>(units, 0, INT32_MAX))));
}

Result DirectRecording::AddPendingFrame(int32_t duration)
{
    framePending = false;
    lastDuration = duration;
    const CaptureInHand captured(kVideoMediaType, pendingTime);
    return AddMediaSample(video.media, video.data, 0, GetHandleSize(video.data), duration, video.record, 1, 0, 0);
}

Result DirectRecording::AddSound(const SoundStream::Piece& piece)
{
    if (firstFailure != noErr)
        return noErr;
    if (!soundArrived)
        soundArrived = piece.captureTime;
    int64_t early = 0;
    if (!sound.start && withPictures && !continues) {
        if (!video.start && piece.captureTime - *soundArrived < kPatienceForPictures)
            return noErr;
        if (video.start)
            early = std::max<int64_t>(0, *video.start - piece.captureTime);
    }
    const auto skipped = static_cast<int32_t>(std::min<long>(
        piece.frames, std::lround(static_cast<double>(early) * piece.description->sampleRate / kNanosecondsPerSecond)));
    const int32_t frames = piece.frames - skipped;
    if (frames == 0)
        return noErr;
    if (!sound.start) {
        sound.start = piece.captureTime + early;
        // A tape tells its rate with its first sound.
        soundScale = static_cast<int32_t>(std::lround(piece.description->sampleRate));
        if (const Result made = Keep(MakeLine(sound, kSoundMediaType, soundScale)); made != noErr)
            return made;
    }
    const int32_t frameBytes = piece.description->BytesPerFrame();
    const CaptureInHand captured(kSoundMediaType,
                                 piece.captureTime + std::llround(skipped * 1e9 / piece.description->sampleRate));
    Fill(sound, BytesAt(piece.data + skipped * frameBytes, frames * frameBytes), piece.description);
    return Keep(AddMediaSample(sound.media, sound.data, 0, GetHandleSize(sound.data), 1, sound.record, frames, 0, 0));
}

Result DirectRecording::Insert(const Line& line, int64_t origin)
{
    const int64_t late = line.start ? UnitsOf(*line.start - origin, kMovieScale) : 0;
    // A quarter of a frame is no lateness, and a track that begins at the beginning needs no empty piece before it.
    const int32_t place = late > kMovieScale / kStandardFrameRate / 4 ? static_cast<int32_t>(late) : -1;
    return InsertMediaIntoTrack(line.track, place, 0, GetMediaDuration(line.media), kNormalRate);
}

Result DirectRecording::Finish()
{
    if (framePending && firstFailure == noErr)
        Keep(AddPendingFrame(lastDuration > 0 ? lastDuration : videoScale / kStandardFrameRate));
    if (!sound.start)
        Keep(MakeLine(sound, kSoundMediaType, soundScale));
    const int64_t origin = std::min(video.start.value_or(INT64_MAX), sound.start.value_or(INT64_MAX));
    for (const Line* line : {&video, &sound}) {
        Keep(EndMediaEdits(line->media));
        Keep(Insert(*line, origin));
    }
    Keep(AddMovieToStorage(movie, handler));
    Keep(CloseMovieStorage(handler));
    handler = 0;
    return firstFailure;
}

} // namespace platform
