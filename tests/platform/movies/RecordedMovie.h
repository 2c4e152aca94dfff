// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/FrameCompressor.h"
#include "platform/corefoundation/CoreFoundation.h"
#include "platform/drawing/PixelFormat.h"
#include "platform/movies/Movies.h"
#include "support/Files.h"

#include <array>
#include <random>

namespace movietest {

using namespace test;
using namespace platform;
using Bytes = std::vector<uint8_t>;

/// A handle that is disposed with its owner.
class TestHandle {
public:
    explicit TestHandle(const Bytes& bytes = {}) : handle(NewHandle(0)) { SetHandleBytes(handle, bytes); }
    ~TestHandle() { DisposeHandle(handle); }
    TestHandle(const TestHandle&) = delete;
    TestHandle& operator=(const TestHandle&) = delete;
    operator Handle() const { return handle; }
    Bytes Content() const { return {HandleBytes(handle).begin(), HandleBytes(handle).end()}; }

private:
    Handle handle;
};

inline Bytes ImageRecord(const char* codec, int width, int height)
{
    return RecordOf(DescriptionOfPassThrough(CodeOf(codec), width, height));
}

inline Bytes SoundRecord(const char* format, int channels, int bits, int rate)
{
    const OwnedBlock record(36);
    Poke<int32_t>(record.Get(), 36);
    Poke<uint32_t>(record.Get() + 4, CodeOf(format));
    Poke(record.Get() + 24, std::array{static_cast<int16_t>(channels), static_cast<int16_t>(bits)});
    Poke<uint32_t>(record.Get() + 32, static_cast<uint32_t>(rate) << 16);
    return {record.Bytes().begin(), record.Bytes().end()};
}

/// A JPEG picture that differs with `number`.
inline Bytes JpegFrame(int width, int height, int number)
{
    Bytes pixels(static_cast<size_t>(width) * height * 3);
    for (size_t i = 0; i < pixels.size(); ++i)
        pixels[i] = static_cast<uint8_t>(i / 3 % width * 4 + number * 7 + i % 3 * 60);
    const auto block = FrameCompressor::Create({})->Compress({pixels, kRGB24PixelFormat, width, height});
    return {block.Bytes().begin(), block.Bytes().end()};
}

/// `size` bytes that differ with `seed`.
inline Bytes Noise(size_t size, uint32_t seed)
{
    std::minstd_rand random(seed + 1);
    Bytes noise(size);
    for (auto& byte : noise)
        byte = static_cast<uint8_t>(random() >> 8);
    return noise;
}

/// A movie with one video and one sound track, in the middle of its recording.
class RecordedMovie {
public:
    explicit RecordedMovie(const std::string& path, int soundRate = 44100)
    {
        const OwnedBlock numbers(8);
        created = CreateMovieStorage(TestHandle({path.begin(), path.end()}), CodeOf("alis"), CodeOf("TVOD"), 0,
                                     createMovieFileDeleteCurFile, numbers.Get(), numbers.Get() + 4);
        handler = Peek<DataHandler>(numbers.Get());
        movie = Peek<Movie>(numbers.Get() + 4);
        videoTrack = NewMovieTrack(movie, Long2Fix(64), Long2Fix(48), 256);
        soundTrack = NewMovieTrack(movie, 0, 0, 256);
        video = NewTrackMedia(videoTrack, kVideoMediaType, 600, 0, 0);
        sound = NewTrackMedia(soundTrack, kSoundMediaType, soundRate, 0, 0);
        BeginMediaEdits(video);
        BeginMediaEdits(sound);
    }

    Result AddVideo(const Bytes& frame, const Bytes& record, int duration, int16_t flags = 0)
    {
        const TestHandle data(frame);
        const TestHandle description(record);
        return AddMediaSample(video, data, 0, static_cast<int32_t>(frame.size()), duration, description, 1, flags, 0);
    }

    /// Adds `JpegFrame(64, 48, number)`.
    Result AddPicture(int number, int duration = 20)
    {
        return AddVideo(JpegFrame(64, 48, number), ImageRecord("jpeg", 64, 48), duration);
    }

    Result AddSound(const Bytes& bytes, const Bytes& record, int frames)
    {
        const TestHandle data(bytes);
        const TestHandle description(record);
        return AddMediaSample(sound, data, 0, static_cast<int32_t>(bytes.size()), 1, description, frames, 0, 0);
    }

    Result Close() { return CloseMovieStorage(handler); }

    /// Ends the edits, puts all media into the tracks, writes the header and closes the file. Returns the first
    /// failure.
    Result Finish()
    {
        const int32_t videoDuration = GetMediaDuration(video);
        const int32_t soundDuration = GetMediaDuration(sound);
        for (const Result result :
             {EndMediaEdits(video), InsertMediaIntoTrack(videoTrack, -1, 0, videoDuration, Long2Fix(1)),
              EndMediaEdits(sound), InsertMediaIntoTrack(soundTrack, -1, 0, soundDuration, Long2Fix(1)),
              AddMovieToStorage(movie, handler), Close()})
            if (result != noErr)
                return result;
        return noErr;
    }

    Result created = noErr;
    DataHandler handler = 0;
    Movie movie = 0;
    Track videoTrack = 0;
    Track soundTrack = 0;
    Media video = 0;
    Media sound = 0;
};

} // namespace movietest
