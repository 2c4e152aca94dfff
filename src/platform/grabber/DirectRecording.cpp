// SPDX-License-Identifier: MIT
// A recording made by the grabber itself.
//
// The recording starts with the first frame: earlier sound is left out, to the sample, and since the session's sound
// has no gaps, counting samples keeps both in sync from there. A frame lasts until the next one, so each waits for its
// successor before it is added; the last one lasts as long as the one before it.
//
// If no frame comes, the sound starts on its own after a while; a video track that starts later gets an empty edit up
// to its start.
#include "platform/grabber/DirectRecording.h"

#include "platform/clock/MonotonicClock.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

namespace platform {
namespace {

constexpr int32_t kStandardFrameRate = 30; // of a movie with a single frame
constexpr int32_t kStandardSoundScale = 44100;
constexpr int16_t kFullVolume = 256;
constexpr int32_t kTrackEnd = -1;
constexpr int64_t kPatienceForPictures = 2 * kNanosecondsPerSecond;

int64_t UnitsOf(int64_t nanoseconds, int64_t scale)
{
    return nanoseconds / kNanosecondsPerSecond * scale +
           (nanoseconds % kNanosecondsPerSecond * scale + kNanosecondsPerSecond / 2) / kNanosecondsPerSecond;
}

} // namespace

std::unique_ptr<DirectRecording> DirectRecording::Begin(const Plan& plan, Result& result)
{
    auto recording = std::make_unique<DirectRecording>();
    result = recording->Create(plan);
    return result == noErr ? std::move(recording) : nullptr;
}

Result DirectRecording::Create(const Plan& plan)
{
    std::error_code ignored;
    if (plan.append && std::filesystem::file_size(plan.path, ignored) > 0 && !ignored)
        return dupFNErr;
    withPictures = plan.withPictures;
    continues = plan.continues;
    videoScale = plan.videoScale;
    soundScale = plan.soundScale > 0 ? plan.soundScale : kStandardSoundScale;
    if (const Result result = movie.Create(plan.path); result != noErr)
        return result;
    return movie.AddTrack(video, kVideoMediaType, videoScale, plan.width, plan.height, kFullVolume);
}

int64_t DirectRecording::VideoUnits(int64_t nanoseconds) const
{
    return UnitsOf(nanoseconds, videoScale);
}

Result DirectRecording::AddFrame(const Sample& frame)
{
    // A full disk stays full: what was written before is the movie.
    if (movie.Failure() != noErr)
        return noErr;
    if (!videoStart)
        videoStart = frame.captureTime;
    const Result result = EndFrameAt(frame.captureTime);
    pending = {frame.data, frame.description, frame.captureTime};
    return result;
}

Result DirectRecording::EndFrameAt(int64_t captureTime)
{
    if (!pending || movie.Failure() != noErr)
        return noErr;
    const int64_t units = VideoUnits(captureTime - *videoStart) - VideoUnits(pending->captureTime - *videoStart);
    return movie.Keep(AddPendingFrame(static_cast<int32_t>(std::clamp<int64_t>(units, 0, INT32_MAX))));
}

Result DirectRecording::AddPendingFrame(int32_t duration)
{
    const PendingFrame frame = *std::exchange(pending, std::nullopt);
    lastDuration = duration;
    return video->AddSamples({.bytes = frame.data.Bytes(),
                              .description = frame.description->record,
                              .durationPerSample = duration,
                              .captureTime = frame.captureTime});
}

// The duration in nanoseconds of the part of a piece before the first frame.
int64_t DirectRecording::MissingBefore(const SoundStream::Piece& piece) const
{
    const bool isFirst = !soundStart && withPictures && !continues;
    return isFirst && videoStart ? std::max<int64_t>(0, *videoStart - piece.captureTime) : 0;
}

Result DirectRecording::AddSound(const SoundStream::Piece& piece)
{
    if (movie.Failure() != noErr)
        return noErr;
    if (!soundArrived)
        soundArrived = piece.captureTime;
    const bool waitsForPictures = !soundStart && withPictures && !continues && !videoStart;
    if (waitsForPictures && piece.captureTime - *soundArrived < kPatienceForPictures)
        return noErr;
    const double rate = piece.description->sampleRate;
    const int64_t early = MissingBefore(piece);
    const auto skipped = static_cast<int32_t>(
        std::min<long>(piece.frames, std::lround(static_cast<double>(early) * rate / kNanosecondsPerSecond)));
    const int32_t frames = piece.frames - skipped;
    if (frames == 0)
        return noErr;
    if (!soundStart) {
        soundStart = piece.captureTime + early;
        // A tape's sample rate is known from its first sound.
        soundScale = piece.description->SoundTimeScale();
        const Result made = movie.Keep(movie.AddTrack(sound, kSoundMediaType, soundScale, 0, 0, kFullVolume));
        if (made != noErr)
            return made;
    }
    const int32_t frameBytes = piece.description->BytesPerFrame();
    return movie.Keep(
        sound->AddSamples({.bytes = BytesAt(piece.data + skipped * frameBytes, frames * frameBytes),
                           .description = piece.description->record,
                           .count = frames,
                           .captureTime = piece.captureTime + std::llround(skipped * kNanosecondsPerSecond / rate)}));
}

Result DirectRecording::Insert(MovieTrack& track, std::optional<int64_t> start)
{
    const int64_t origin = std::min(videoStart.value_or(INT64_MAX), soundStart.value_or(INT64_MAX));
    const int64_t late = start ? UnitsOf(*start - origin, kMovieTimeScale) : 0;
    // Less than a quarter of a frame is ignored, and a track that starts with the movie needs no empty edit.
    const bool isLate = late > kMovieTimeScale / kStandardFrameRate / 4;
    return track.InsertAll(isLate ? static_cast<int32_t>(late) : kTrackEnd);
}

Result DirectRecording::Finish()
{
    if (pending && movie.Failure() == noErr)
        movie.Keep(AddPendingFrame(lastDuration > 0 ? lastDuration : videoScale / kStandardFrameRate));
    if (!sound)
        movie.Keep(movie.AddTrack(sound, kSoundMediaType, soundScale, 0, 0, kFullVolume));
    movie.Keep(Insert(*video, videoStart));
    if (sound)
        movie.Keep(Insert(*sound, soundStart));
    return movie.Finish();
}

} // namespace platform
