// SPDX-License-Identifier: MIT
// The cost of compressors relative to ffmpeg with the same encoder, preset and source: processor time of all threads
// for the same frames, both sides in turn, median of three runs.
//
//   H.264   1920x1080 Motion JPEG as a camera sends it; our side also decodes each frame for the live picture at the
//           size of the window's 640x480
//   FFV1    1280x720 raw 4:2:2
//
// The frames are noise over moving shapes, so that they are hard to encode.
#include "platform/compression/FrameCompressor.h"
#include "platform/compression/ReducingDecoder.h"
#include "platform/drawing/PixelFormat.h"

#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <random>
#include <string>
#include <vector>

using namespace platform;

namespace {

constexpr int kFrames = 90;
using Frames = std::vector<std::vector<uint8_t>>;

struct Size {
    int32_t width, height;
};
constexpr Size kFullHd{1920, 1080}, kHd{1280, 720};

std::vector<uint8_t> RawFrame422(const Size& size, int number)
{
    std::vector<uint8_t> bytes(static_cast<size_t>(size.width) * static_cast<size_t>(size.height) * 2);
    std::mt19937 random(static_cast<uint32_t>(number));
    for (int32_t y = 0; y < size.height; ++y)
        for (int32_t x = 0; x < size.width; ++x) {
            const double wave = 50 * std::sin((x + 4 * number) * 0.02) * std::cos(y * 0.017);
            const int edge = ((x + 3 * number) / 120 + y / 90) % 2 == 0 ? 25 : -25;
            const size_t at = (static_cast<size_t>(y) * static_cast<size_t>(size.width) + static_cast<size_t>(x)) * 2;
            bytes[at] = static_cast<uint8_t>(128 + wave + edge + static_cast<int>(random() % 7));
            bytes[at + 1] = static_cast<uint8_t>(128 + wave / 3);
        }
    return bytes;
}

Frames RawFrames(const Size& size)
{
    Frames frames;
    for (int i = 0; i < kFrames; ++i)
        frames.push_back(RawFrame422(size, i));
    return frames;
}

Frames JpegFrames(const Size& size)
{
    Frames frames;
    const auto compressor = FrameCompressor::Create({});
    for (int i = 0; i < kFrames; ++i) {
        const auto raw = RawFrame422(size, i);
        const OwnedBlock block = compressor->Compress({raw, kYuvsPixelFormat, size.width, size.height});
        frames.emplace_back(block.Bytes().begin(), block.Bytes().end());
    }
    return frames;
}

double Seconds(int who)
{
    rusage used{};
    getrusage(who, &used);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(used.ru_utime) + seconds(used.ru_stime);
}

double Ours(const Frames& frames, FourCharCode format, const Size& size, FourCharCode codec, bool livePicture)
{
    const double before = Seconds(RUSAGE_SELF);
    const auto compressor = FrameCompressor::Create({.codec = codec, .frameRate = 30});
    const ImageDescription description = DescriptionOfPassThrough(format, size.width, size.height);
    ReducingDecoder decoder;
    decoder.Prepare(description);
    for (const auto& frame : frames) {
        std::unique_ptr<DecodedPicture> picture;
        if (livePicture)
            decoder.Decode({nullptr, frame}, description, {640, 640 * size.height / size.width}, picture);
        if (compressor->Compress({frame, format, size.width, size.height}).Size() == 0)
            std::exit(1);
    }
    return Seconds(RUSAGE_SELF) - before;
}

double Peer(const std::string& command)
{
    const double before = Seconds(RUSAGE_CHILDREN);
    if (std::system(command.c_str()) != 0) {
        std::fprintf(stderr, "failed: %s\n", command.c_str());
        std::exit(1);
    }
    return Seconds(RUSAGE_CHILDREN) - before;
}

void Compare(const char* name, const Frames& frames, const std::string& peer, const std::function<double()>& ours)
{
    const auto source = std::filesystem::temp_directory_path() / "velmora-bench-source";
    FILE* file = std::fopen(source.c_str(), "wb");
    for (const auto& frame : frames)
        std::fwrite(frame.data(), 1, frame.size(), file);
    std::fclose(file);
    const auto movie = std::filesystem::temp_directory_path() / "velmora-bench-peer.mov";
    struct Round {
        double ratio, ours, theirs;
    };
    std::array<Round, 3> rounds{};
    for (Round& round : rounds) {
        round.ours = ours();
        const std::string quoted = "'" + source.string() + "'";
        std::string command = peer;
        command.replace(command.find("SOURCE"), 6, quoted);
        round.theirs = Peer(command + " '" + movie.string() + "'");
        round.ratio = round.ours / round.theirs;
    }
    std::filesystem::remove(source);
    std::filesystem::remove(movie);
    std::ranges::sort(rounds, {}, &Round::ratio);
    std::printf("%-34s %16.2f   %-14s CPU %.2f s against %.2f s for %d frames; all: %.2f, %.2f, %.2f\n", name,
                rounds[1].ratio, "<= 1.15", rounds[1].ours, rounds[1].theirs, kFrames, rounds[0].ratio, rounds[1].ratio,
                rounds[2].ratio);
}

} // namespace

int main()
{
    {
        const Frames frames = JpegFrames(kFullHd);
        Compare("codecs: H.264 1080p, live picture", frames,
                "ffmpeg -v error -y -f mjpeg -framerate 30 -i SOURCE -c:v libx264 -preset superfast -pix_fmt yuv420p",
                [&] { return Ours(frames, CodeOf("jpeg"), kFullHd, CodeOf("avc1"), true); });
    }
    const Frames frames = RawFrames(kHd);
    Compare("codecs: FFV1 720p", frames,
            "ffmpeg -v error -y -f rawvideo -pix_fmt yuyv422 -s 1280x720 -framerate 30 -i SOURCE -c:v ffv1 -level 3 "
            "-slices 4 -slicecrc 1",
            [&] { return Ours(frames, kYuvsPixelFormat, kHd, CodeOf("FFV1"), false); });
    return 0;
}
