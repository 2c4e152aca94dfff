// SPDX-License-Identifier: MIT
// The Test Pattern as a device.
//
// A timer becomes readable at each frame's time on the grid. It is set once the frame is ready: raw frames are drawn by
// the device's thread as soon as the previous frame has been delivered, compressed ones by separate threads. On a
// machine that is too slow, frames are late at first, by as much as a camera's own buffers would bridge; then frames
// are left out, which the sequence numbers show.
#include "platform/digitizer/testpattern/TestPattern.h"

#include "platform/digitizer/testpattern/CompressedPattern.h"
#include "platform/drawing/PixelFormat.h"
#include "platform/log/Log.h"

#include <array>
#include <cerrno>
#include <optional>
#include <sys/timerfd.h>

namespace platform {
namespace {

constexpr std::array<std::pair<int32_t, int32_t>, 4> kSizes{{{640, 480}, {1280, 720}, {1920, 1080}, {3840, 2160}}};
constexpr std::array<double, 6> kRates{60, 50, 30, 29.97, 25, 15};
constexpr CaptureFormat kFirstFormat{k2vuyPixelFormat, 640, 480, 30};
// How many periods late a frame may still be delivered: as many as a camera has buffers.
constexpr int64_t kMaxPeriodsLate = 4;

class TestPatternDevice final : public CaptureDevice {
public:
    std::vector<CaptureFormat> Formats() override
    {
        std::vector<CaptureFormat> formats;
        for (const FourCharCode code : {k2vuyPixelFormat, kPatternCodec})
            for (const auto& [width, height] : kSizes)
                for (const double rate : kRates)
                    formats.push_back({code, width, height, rate});
        return formats;
    }

    CaptureFormat PresentFormat() override { return kFirstFormat; }

    Outcome Begin(const CaptureFormat& wanted, bool, CaptureFormat& actual) override
    {
        timer = UniqueFD(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC));
        if (!timer)
            return {ioErr, "The Test Pattern has no timer: " + ErrorText(errno) + "."};
        format = actual = wanted;
        const FrameGrid grid = FrameGrid::ForRate(format.frameRate);
        if (format.format == k2vuyPixelFormat)
            picture.emplace(format.width, format.height);
        clock = {.grid = grid, .first = grid.FrameAt(MonotonicNow()) + 1};
        if (!picture)
            compressed.emplace(format.width, format.height, clock, [this](int64_t frame) { SetTimer(frame); });
        PrepareFrame(clock.first);
        return {};
    }

    void End() override
    {
        compressed.reset();
        picture.reset();
        timer.Reset();
    }

    pollfd Waiting() const override { return {timer.Get(), POLLIN, 0}; }

    Taken Take(short, CapturedFrame& frame) override
    {
        uint64_t expirations = 0;
        if (read(timer.Get(), &expirations, sizeof expirations) != sizeof expirations)
            return Taken::Nothing;
        if (compressed)
            block = compressed->Take(due);
        frame.picture = {picture ? drawn : block.Bytes(), format.format, format.width, format.height};
        frame.captureTime = clock.grid.TimeOf(due);
        frame.sequence = clock.NumberOf(due);
        if (!frame.picture.bytes.empty())
            return Taken::Frame;
        GiveBack();
        return Taken::Damaged;
    }

    bool GiveBack() override
    {
        // A frame that is being compressed is delivered, however late: leaving it out would cost more time than it
        // saves.
        const bool isBegun = compressed && compressed->HasBegun(due + 1);
        const int64_t latest = clock.grid.FrameAt(MonotonicNow()) - kMaxPeriodsLate + 1;
        PrepareFrame(isBegun ? due + 1 : std::max(due + 1, latest));
        return true;
    }

    // Only a busy machine silences the pattern.
    Taken Silent() override { return Taken::Nothing; }
    Outcome Failure() const override { return {}; }

private:
    void PrepareFrame(int64_t frame)
    {
        due = frame;
        if (compressed)
            return compressed->Await(frame);
        drawn = picture->Draw(clock.NumberOf(frame), clock.grid.IsFlash(frame));
        SetTimer(frame);
    }

    // A time in the past makes the timer readable at once.
    void SetTimer(int64_t frame) const
    {
        const int64_t time = clock.grid.TimeOf(frame);
        itimerspec setting{};
        setting.it_value = {time / kNanosecondsPerSecond, time % kNanosecondsPerSecond};
        timerfd_settime(timer.Get(), TFD_TIMER_ABSTIME, &setting, nullptr);
    }

    CaptureFormat format;
    PatternClock clock;
    UniqueFD timer;
    int64_t due = 0; ///< the frame that is delivered next
    std::optional<PatternPicture> picture;
    std::span<const uint8_t> drawn;
    OwnedBlock block;
    std::optional<CompressedPattern> compressed;
};

} // namespace

TestPattern::TestPattern()
    : CameraDigitizer({kName, kIdentity}, [](Outcome&) { return std::make_shared<TestPatternDevice>(); })
{
}

} // namespace platform
