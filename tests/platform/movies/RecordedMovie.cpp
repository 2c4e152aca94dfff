// SPDX-License-Identifier: MIT
#include "RecordedMovie.h"
#include "platform/compression/FrameCompressor.h"
#include "platform/drawing/PixelFormat.h"

#include <cstring>
#include <random>

using namespace platform;

namespace movietest {
namespace {

template <typename T> void Set(Bytes& record, size_t at, T value)
{
    std::memcpy(record.data() + at, &value, sizeof(T));
}

} // namespace

TestHandle::TestHandle(const Bytes& bytes) : handle(NewHandle(0))
{
    SetHandleBytes(handle, bytes);
}

Bytes ImageRecord(const char* codec, int width, int height)
{
    return RecordOf(DescriptionOfPassThrough(CodeOf(codec), width, height));
}

Bytes SoundRecord(const char* format, int channels, int bits, int rate)
{
    Bytes record(36);
    Set<int32_t>(record, 0, 36);
    Set<uint32_t>(record, 4, CodeOf(format));
    Set<int16_t>(record, 24, static_cast<int16_t>(channels));
    Set<int16_t>(record, 26, static_cast<int16_t>(bits));
    Set<uint32_t>(record, 32, static_cast<uint32_t>(rate) << 16);
    return record;
}

Bytes JpegFrame(int width, int height, int number)
{
    Bytes pixels(static_cast<size_t>(width) * height * 3);
    for (size_t i = 0; i < pixels.size(); ++i)
        pixels[i] = static_cast<uint8_t>(i / 3 % width * 4 + number * 7 + i % 3 * 60);
    const auto block = FrameCompressor::Create({})->Compress({pixels, kRGB24PixelFormat, width, height});
    return {block.Bytes().begin(), block.Bytes().end()};
}

Bytes Noise(size_t size, uint32_t seed)
{
    std::minstd_rand random(seed + 1);
    Bytes noise(size);
    for (auto& byte : noise)
        byte = static_cast<uint8_t>(random() >> 8);
    return noise;
}

Result CreateStorage(const std::string& path, uint32_t flags, DataHandler& handler, Movie& movie)
{
    const TestHandle reference(Bytes(path.begin(), path.end()));
    const OwnedBlock numbers(8);
    const Result result =
        CreateMovieStorage(reference, CodeOf("alis"), CodeOf("TVOD"), 0, flags, numbers.Get(), numbers.Get() + 4);
    handler = Peek<int32_t>(numbers.Get());
    movie = Peek<int32_t>(numbers.Get() + 4);
    return result;
}

RecordedMovie::RecordedMovie(const std::string& path, int soundRate)
{
    created = CreateStorage(path, createMovieFileDeleteCurFile, handler, movie);
    videoTrack = NewMovieTrack(movie, Long2Fix(64), Long2Fix(48), 256);
    video = NewTrackMedia(videoTrack, kVideoMediaType, 600, 0, 0);
    soundTrack = NewMovieTrack(movie, 0, 0, 256);
    sound = NewTrackMedia(soundTrack, kSoundMediaType, soundRate, 0, 0);
    BeginMediaEdits(video);
    BeginMediaEdits(sound);
}

Result RecordedMovie::AddVideo(const Bytes& frame, const Bytes& record, int duration, int16_t flags)
{
    const TestHandle data(frame);
    const TestHandle description(record);
    return AddMediaSample(video, data, 0, static_cast<int32_t>(frame.size()), duration, description, 1, flags, 0);
}

Result RecordedMovie::AddSound(const Bytes& bytes, const Bytes& record, int frames)
{
    const TestHandle data(bytes);
    const TestHandle description(record);
    return AddMediaSample(sound, data, 0, static_cast<int32_t>(bytes.size()), 1, description, frames, 0, 0);
}

Result RecordedMovie::Finish()
{
    const int32_t videoDuration = GetMediaDuration(video);
    const int32_t soundDuration = GetMediaDuration(sound);
    for (const Result result :
         {EndMediaEdits(video), InsertMediaIntoTrack(videoTrack, -1, 0, videoDuration, Long2Fix(1)),
          EndMediaEdits(sound), InsertMediaIntoTrack(soundTrack, -1, 0, soundDuration, Long2Fix(1))})
        if (result != noErr)
            return result;
    return AddMovieToStorage(movie, handler);
}

} // namespace movietest
