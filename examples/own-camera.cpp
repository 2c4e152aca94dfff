// SPDX-License-Identifier: MIT
// A camera family implemented by the program. Its cameras are listed together with the real ones, and the control can
// show, record and grab from them. This one generates pictures of increasing brightness; a real one would get them from
// a network or an instrument. The program records it: own-camera SECONDS Movie.mov
#include "HeadlessRecorder.h"

#include <platform/digitizer/CameraDigitizer.h>
#include <platform/drawing/PixelFormat.h>

#include <algorithm>
#include <cstdlib>
#include <sys/timerfd.h>
#include <time.h>

namespace {

constexpr const char* kName = "Rising Grey";
constexpr const char* kIdentity = "rising-grey:1"; // the same on the next day, for settings files
constexpr platform::CaptureFormat kOnly{
    .format = platform::k2vuyPixelFormat, .width = 320, .height = 240, .frameRate = 25};

int64_t Now()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

/// The open camera. The library's thread waits for the descriptor of `Waiting` and then calls `Take`; the library also
/// implements the state machine around that: start, time-outs, outages and reconnection.
class RisingGrey : public platform::CaptureDevice {
public:
    std::vector<platform::CaptureFormat> Formats() override { return {kOnly}; }

    platform::Outcome Begin(const platform::CaptureFormat&, bool, platform::CaptureFormat& actual) override
    {
        actual = kOnly;
        timer = platform::UniqueFD(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC));
        const itimerspec every{.it_interval = {0, 40'000'000}, .it_value = {0, 40'000'000}};
        if (!timer || timerfd_settime(timer.Get(), 0, &every, nullptr) != 0)
            return {.result = platform::noDeviceForChannel, .reason = "No timer is left."};
        return {};
    }

    void End() override { timer = {}; }

    pollfd Waiting() const override { return {.fd = timer.Get(), .events = POLLIN, .revents = 0}; }

    platform::Taken Take(short, platform::CapturedFrame& frame) override
    {
        uint64_t periods = 0;
        if (read(timer.Get(), &periods, sizeof periods) != sizeof periods)
            return platform::Taken::Nothing;
        sequence += static_cast<uint32_t>(periods); // a step above 1 counts as lost frames
        std::ranges::fill(picture, static_cast<uint8_t>(16 + sequence % 200));
        for (size_t chroma = 0; chroma < picture.size(); chroma += 2)
            picture[chroma] = 128;
        frame.picture = {picture, kOnly.format, kOnly.width, kOnly.height};
        frame.captureTime = Now();
        frame.sequence = sequence;
        return platform::Taken::Frame;
    }

    platform::Outcome Failure() const override { return {}; }

private:
    platform::UniqueFD timer;
    uint32_t sequence = 0;
    std::vector<uint8_t> picture = std::vector<uint8_t>(320 * 240 * 2);
};

std::vector<platform::DigitizerEntry> ListFamily()
{
    return {{.name = kName, .identity = kIdentity, .inputs = {}}};
}

std::unique_ptr<platform::Digitizer> OpenFromFamily(const std::string& identity)
{
    if (identity != kIdentity)
        return nullptr;
    return std::make_unique<platform::CameraDigitizer>(
        platform::CameraDigitizer::Label{kName, kIdentity},
        [](platform::Outcome&) { return std::make_shared<RisingGrey>(); });
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fputs("Usage: own-camera SECONDS MOVIE\n", stderr);
        return 1;
    }
    velmora::CaptureRuntime runtime(argc, argv, false);
    platform::AddDigitizers({.list = ListFamily, .open = OpenFromFamily});
    const auto recorder = std::make_shared<HeadlessRecorder>(kName, argv[2], std::atof(argv[1]));
    recorder->Construct();
    runtime.Run();
    return recorder->Succeeded() ? 0 : 1;
}
