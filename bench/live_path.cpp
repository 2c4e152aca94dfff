// SPDX-License-Identifier: MIT
// The cost of the live picture relative to its bare parts: one 1920x1080 4:2:2 JPEG frame from the entry of the data
// procedure (decode to a 32-bit picture, frame and clock drawn on it, scale onto 640x360 of the window) without
// decoding ahead, against TurboJPEG and libyuv called directly with the same flags and filter. The control halves the
// picture by a box filter before it scales it, against flicker; the bare calls do not. Both sides run in turn within
// one process, on one thread; the median of each side's processor time counts, so that other programs disturb little.
#include "app/App.h"
#include "app/FileTypes.h"
#include "capture/VelmoraCanvas.h"
#include "framework/Application.h"
#include "platform/Platform.h"
#include "platform/clock/MonotonicClock.h"
#include "platform/compression/FrameCompressor.h"
#include "platform/compression/JpegDecoder.h"
#include "platform/digitizer/Digitizer.h"
#include "platform/drawing/Ports.h"
#include "platform/grabber/SequenceGrabber.h"
#include "ui/MovieWindow.h"

#include <libyuv.h>
#include <turbojpeg.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <thread>
#include <time.h>
#include <vector>

using namespace platform;

namespace {

constexpr int kWidth = 1920, kHeight = 1080, kPortWidth = 640, kPortHeight = 360;
constexpr int kBar = 60; // above the picture, which keeps its shape in the control of 640x480
constexpr size_t kFrameSize = 500'000;

// A picture with soft areas, edges and some grain, so that its blocks cost as much as those of a camera.
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

// A camera that delivers the same frame ten times a second, from a thread of its own as cameras do.
class OneFrameCamera : public Digitizer {
public:
    explicit OneFrameCamera(std::span<const uint8_t> bytes) : frame(bytes) {}
    std::string Name() const override { return "Camera"; }
    std::string Identity() const override { return "camera"; }
    std::vector<CaptureFormat> Formats() const override { return {Format()}; }
    CaptureFormat Format() const override { return {CodeOf("jpeg"), kWidth, kHeight, 30}; }
    Result SetFormat(const CaptureFormat&) override { return noErr; }
    Result Start(FrameSink& sink) override
    {
        thread = std::jthread([this, &sink](const std::stop_token& stop) {
            for (uint32_t number = 1; !stop.stop_requested(); ++number) {
                sink.FrameArrived({.picture = {frame, CodeOf("jpeg"), kWidth, kHeight},
                                   .captureTime = MonotonicNow(),
                                   .sequence = number});
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
            }
        });
        return noErr;
    }
    void Stop() override { thread = {}; }

private:
    std::span<const uint8_t> frame;
    std::jthread thread;
};

// The main window, which draws its frame and clock on each picture, without a place on the screen.
class HiddenWindow : public velmora::MovieWindow {
    void Layout() override
    {
        MovieWindow::Layout();
        Visible(false);
    }
};

} // namespace

namespace velmora {

struct VelmoraCanvasInspector {
    VelmoraCanvas& canvas;

    bool ShowFrame(const OwnedBlock& frame) const
    {
        return VelmoraCanvas::DataProc(canvas.sgVideoChannel, frame.Get(), static_cast<int32_t>(frame.Size()), 0, 0, 1,
                                       seqGrabWriteAppend, canvas.refCon) == 0;
    }
};

} // namespace velmora

namespace {

class Control {
public:
    explicit Control(const OwnedBlock& testFrame) : frame(testFrame)
    {
        window->Construct();
        canvas = window->ControlNamed<velmora::VelmoraCanvas>("VelmoraCanvas1");
        const auto end = time(nullptr) + 5;
        while (canvas->VideoCounts().delivered == 0 && time(nullptr) < end)
            canvas->Idle();
    }

    bool ShowFrame() const { return velmora::VelmoraCanvasInspector{*canvas}.ShowFrame(frame); }

    // The canvas's part of the window's pixels.
    const uint8_t* Row(int y) const
    {
        const PortPixels port = *PixelsOfPort(window->Port());
        return port.pixels + int64_t{canvas->Top() + kBar + y} * port.rowBytes + int64_t{canvas->Left()} * 4;
    }

private:
    const OwnedBlock& frame;
    std::shared_ptr<HiddenWindow> window = std::make_shared<HiddenWindow>();
    velmora::VelmoraCanvas* canvas = nullptr;
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

// Compares all bytes; what the window draws on the picture is a small part of it.
double MeanDifference(const Control& control, const BareCalls& bare)
{
    double sum = 0;
    for (int y = 0; y < kPortHeight; ++y)
        for (int x = 0; x < kPortWidth * 4; ++x)
            sum += std::abs(control.Row(y)[x] -
                            bare.window[static_cast<size_t>(y) * kPortWidth * 4 + static_cast<size_t>(x)]);
    return sum / static_cast<double>(bare.window.size());
}

int Measure(int rounds)
{
    const OwnedBlock frame = TestFrame();
    SetDigitizerProvider({.list =
                              [] {
                                  return std::vector<DigitizerEntry>{{"Camera", "camera", {}, true}};
                              },
                          .open = [&](const std::string&) { return std::make_unique<OneFrameCamera>(frame.Bytes()); }});
    const Control control(frame);
    BareCalls bare(frame);
    if (rounds < 1 || !control.ShowFrame() || !bare.ShowFrame() || MeanDifference(control, bare) > 12) {
        std::fprintf(stderr, "live_path: the two sides do not show the same picture\n");
        return 1;
    }
    std::vector<double> ours, theirs;
    for (int round = 0; round < rounds; ++round) {
        ours.push_back(Milliseconds([&] { control.ShowFrame(); }));
        theirs.push_back(Milliseconds([&] { bare.ShowFrame(); }));
    }
    std::printf("%-34s %16.2f   %-14s %.2f ms against %.2f ms of processor time; frame of %lld bytes, median of %d\n",
                "live_path: 1080p MJPEG to 640x360", MedianOf(ours) / MedianOf(theirs), "<= 1.3", MedianOf(ours),
                MedianOf(theirs), static_cast<long long>(frame.Size()), rounds);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    const int rounds = argc > 1 ? std::atoi(argv[1]) : 200;
    framework::StartRuntime(argc, argv, false);
    velmora::CarbonTimer::timers = std::make_unique<std::vector<framework::Reference<velmora::CarbonTimer>>>();
    StartPlatform();
    velmora::_InitFileTypes();
    velmora::_NewAppInstance();
    // The devices' threads end with the process.
    std::_Exit(Measure(rounds) + std::fflush(stdout));
}
