// What the live picture costs above its bare parts: one 1920x1080 4:2:2 JPEG frame through the two decompression
// sequences (decode to a 32-bit picture, then scale onto a 640x480 port), against TurboJPEG and libyuv called directly
// with the same flags and filter. The sequences halve the picture by a box filter before they scale it, against
// flicker; the bare calls do not. Both sides run in turn within one process, on one thread; the median of each side's
// processor time counts, so that other programs disturb little.
#include "platform/compression/DecompressionSequence.h"
#include "platform/compression/FrameCompressor.h"
#include "platform/compression/JpegDecoder.h"
#include "platform/compression/Matrix.h"
#include "platform/drawing/Ports.h"

#include <libyuv.h>
#include <turbojpeg.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <time.h>
#include <vector>

using namespace platform;

namespace {

constexpr int kWidth = 1920, kHeight = 1080, kPortWidth = 640, kPortHeight = 480;
constexpr size_t kFrameSize = 500'000;

// A picture with soft areas, edges and some grain, so that its blocks cost what those of a camera do.
std::vector<uint8_t> TestPicture(double grain)
{
    std::vector<uint8_t> pixels(static_cast<size_t>(kWidth) * kHeight * 4);
    std::mt19937 random(1);
    std::normal_distribution<double> noise(0, grain);
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x) {
            const double wave = 60 * std::sin(x * 0.011) * std::cos(y * 0.017);
            const double edge = (x / 120 + y / 90) % 2 == 0 ? 30 : -30;
            uint8_t* pixel = &pixels[(static_cast<size_t>(y) * kWidth + static_cast<size_t>(x)) * 4];
            for (int channel = 0; channel < 3; ++channel)
                pixel[channel] = static_cast<uint8_t>(
                    std::clamp(128 + wave * (channel == 1 ? 1 : 0.6) + edge + noise(random), 0.0, 255.0));
        }
    return pixels;
}

// The grain that brings the frame to the wanted size at normal quality.
OwnedBlock TestFrame()
{
    const auto compressor = FrameCompressor::Create({});
    double low = 0, high = 40;
    OwnedBlock frame;
    for (int round = 0; round < 8; ++round) {
        const double grain = (low + high) / 2;
        frame = compressor->Compress({TestPicture(grain), kPixelFormat32, kWidth, kHeight});
        (frame.Bytes().size() < kFrameSize ? low : high) = grain;
    }
    return frame;
}

double MedianOf(std::vector<double> values)
{
    std::ranges::nth_element(values, values.begin() + static_cast<ptrdiff_t>(values.size() / 2));
    return values[values.size() / 2];
}

double ThreadMilliseconds()
{
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

template <typename Work> double Milliseconds(const Work& work)
{
    const double start = ThreadMilliseconds();
    work();
    return ThreadMilliseconds() - start;
}

// The sequences as the control builds them.
class Sequences {
public:
    explicit Sequences(const OwnedBlock& frame) : frame(frame)
    {
        const OwnedBlock cell(4), rects(16), matrix(36);
        const Handle description = NewHandle(0);
        SetHandleBytes(description, RecordOf(DescriptionOfPassThrough(CodeOf("jpeg"), kWidth, kHeight)));
        DecompressSequenceBeginS(cell.Get(), description, 0, 0, picture, 0, 0, 0, 0, 0, 0, kCodecNormalQuality,
                                 kBestSpeedCodec);
        decode = Peek<int32_t>(cell.Get());
        const PixMapReference map = GetGWorldPixMap(picture);
        Poke(cell.Get(), description);
        MakeImageDescriptionForPixMap(map, cell.Get());
        const int16_t sides[8] = {0, 0, kHeight, kWidth, 0, 0, kPortHeight, kPortWidth};
        Poke(rects.Get(), sides);
        RectMatrix(matrix.Get(), rects.Get(), rects.Get() + 8);
        DecompressSequenceBeginS(cell.Get(), description, 0, 0, window, 0, 0, matrix.Get(), 0, 0, 0,
                                 kCodecNormalQuality, kBestSpeedCodec);
        show = Peek<int32_t>(cell.Get());
        DisposeHandle(description);
        pixels = GetPixBaseAddr(map);
        size = kHeight * GetPixRowBytes(map);
    }

    bool ShowFrame() const
    {
        return DecompressSequenceFrameWhen(decode, frame.Get(), static_cast<int32_t>(frame.Size()), 0, 0, 0, 0) ==
                   noErr &&
               DecompressSequenceFrameWhen(show, pixels, size, 0, 0, 0, 0) == noErr;
    }

    PortReference window = NewPort(kPortWidth, kPortHeight);

private:
    const OwnedBlock& frame;
    PortReference picture = NewPort(kWidth, kHeight);
    int32_t decode = 0, show = 0, size = 0;
    Address pixels = 0;
};

class BareCalls {
public:
    explicit BareCalls(const OwnedBlock& frame) : frame(frame.Bytes()) {}
    ~BareCalls() { tjDestroy(turbo); }
    BareCalls(const BareCalls&) = delete;
    BareCalls& operator=(const BareCalls&) = delete;

    bool ShowFrame()
    {
        return tjDecompress2(turbo, frame.data(), frame.size(), picture.data(), kWidth, kWidth * 4, kHeight, TJPF_BGRA,
                             JpegDecodingFlags()) == 0 &&
               libyuv::ARGBScale(picture.data(), kWidth * 4, kWidth, kHeight, window.data(), kPortWidth * 4, kPortWidth,
                                 kPortHeight, libyuv::kFilterBox) == 0;
    }

    std::vector<uint8_t> window = std::vector<uint8_t>(static_cast<size_t>(kPortWidth) * kPortHeight * 4);

private:
    std::span<const uint8_t> frame;
    tjhandle turbo = tjInitDecompress();
    std::vector<uint8_t> picture = std::vector<uint8_t>(static_cast<size_t>(kWidth) * kHeight * 4);
};

// Over all bytes; the two ports have the same stride.
double MeanDifference(const Sequences& sequences, const BareCalls& bare)
{
    const uint8_t* shown = PixelsOfPort(sequences.window)->pixels;
    double sum = 0;
    for (size_t i = 0; i < bare.window.size(); ++i)
        sum += std::abs(shown[i] - bare.window[i]);
    return sum / static_cast<double>(bare.window.size());
}

} // namespace

int main(int argc, char** argv)
{
    const int rounds = argc > 1 ? std::atoi(argv[1]) : 200;
    const OwnedBlock frame = TestFrame();
    const Sequences sequences(frame);
    BareCalls bare(frame);
    if (rounds < 1 || !sequences.ShowFrame() || !bare.ShowFrame() || MeanDifference(sequences, bare) > 8) {
        std::fprintf(stderr, "live_path: the two sides do not show the same picture\n");
        return 1;
    }
    std::vector<double> ours, theirs;
    for (int round = 0; round < rounds; ++round) {
        ours.push_back(Milliseconds([&] { sequences.ShowFrame(); }));
        theirs.push_back(Milliseconds([&] { bare.ShowFrame(); }));
    }
    std::printf("live_path: frame of %lld bytes, %d rounds, medians\n", static_cast<long long>(frame.Size()), rounds);
    std::printf("  %-44s %8.3f ms\n", "two decompression sequences", MedianOf(ours));
    std::printf("  %-44s %8.3f ms\n", "TurboJPEG + libyuv, called directly", MedianOf(theirs));
    std::printf("  %-44s %8.3f\n", "ratio", MedianOf(ours) / MedianOf(theirs));
    return 0;
}
