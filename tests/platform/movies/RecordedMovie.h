// SPDX-License-Identifier: MIT
#pragma once

#include "platform/corefoundation/CoreFoundation.h"
#include "platform/movies/Movies.h"
#include "support/Files.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace movietest {

using namespace test;
using Bytes = std::vector<uint8_t>;

/// A handle that is disposed with its owner.
class TestHandle {
public:
    explicit TestHandle(const Bytes& bytes);
    ~TestHandle() { platform::DisposeHandle(handle); }
    TestHandle(const TestHandle&) = delete;
    TestHandle& operator=(const TestHandle&) = delete;
    operator platform::Handle() const { return handle; }

private:
    platform::Handle handle;
};

Bytes ImageRecord(const char* codec, int width, int height);
Bytes SoundRecord(const char* format, int channels, int bits, int rate);

/// A JPEG picture that differs with `number`.
Bytes JpegFrame(int width, int height, int number);

/// `size` bytes that differ with `seed`.
Bytes Noise(size_t size, uint32_t seed);

/// What a full decode of a movie complains of; empty for a sound one.
inline std::string DecodingErrorsOf(const std::string& path)
{
    return OutputOf("ffmpeg -v error -i " + Quoted(path) + " -enc_time_base -1 -f null -");
}

/// Creates a storage at a path: its result, and the numbers.
platform::Result CreateStorage(const std::string& path, uint32_t flags, platform::DataHandler& handler,
                               platform::Movie& movie);

/// A movie with one video and one sound track, in the middle of its recording.
class RecordedMovie {
public:
    explicit RecordedMovie(const std::string& path, int soundRate = 44100);

    platform::Result AddVideo(const Bytes& frame, const Bytes& record, int duration, int16_t flags = 0);
    platform::Result AddSound(const Bytes& sound, const Bytes& record, int frames);

    /// Ends the edits, puts all media into the tracks, and writes the header.
    platform::Result Finish();
    platform::Result Close() { return platform::CloseMovieStorage(handler); }

    platform::Result created = platform::noErr;
    platform::DataHandler handler = 0;
    platform::Movie movie = 0;
    platform::Track videoTrack = 0;
    platform::Track soundTrack = 0;
    platform::Media video = 0;
    platform::Media sound = 0;
};

} // namespace movietest
