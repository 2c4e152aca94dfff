// SPDX-License-Identifier: MIT
// The Test Pattern.
//
// One thread delivers: it waits for each frame's time on the grid and hands the frame to the sink. Raw frames it draws
// itself, just before their time. Compressed ones come from further threads that draw and compress a few frames ahead.
// On a machine that is too slow frames come late at first, as far as a camera's own buffers would bridge it; then
// frames are left out and the sequence numbers tell of it.
//
// Each thread that draws has two pictures of its own, one of them white. What is the same in all frames is drawn once,
// at the start; a frame then costs the stripes, the digits and the cells.
#include "platform/digitizer/testpattern/TestPattern.h"

#include "platform/digitizer/testpattern/TestPatternLayout.h"
#include "platform/drawing/PixelFormat.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>

namespace platform {
namespace {

constexpr std::array<std::pair<int32_t, int32_t>, 4> kSizes{{{640, 480}, {1280, 720}, {1920, 1080}, {3840, 2160}}};
constexpr std::array<double, 6> kRates{60, 50, 30, 29.97, 25, 15};
constexpr FourCharCode kCompressed = CodeOf("jpeg");
constexpr int kCompressingThreads = 2;
constexpr int64_t kFramesAhead = 4;
// How many periods late a frame may still be delivered: as many as a camera has buffers.
constexpr int64_t kBridged = 4;

class Picture {
public:
    Picture(int32_t width, int32_t height)
        : plain(static_cast<size_t>(PackedImageSize(k2vuyPixelFormat, width, height))),
          white(plain.size()),
          width(width),
          height(height)
    {
        DrawPatternBackground(SurfaceOf(plain), false);
        DrawPatternBackground(SurfaceOf(white), true);
    }

    std::span<const uint8_t> Draw(uint32_t number, bool flash)
    {
        auto& pixels = flash ? white : plain;
        DrawPatternFrame(SurfaceOf(pixels), number, flash);
        return pixels;
    }

private:
    PatternSurface SurfaceOf(std::vector<uint8_t>& pixels) const
    {
        return {pixels.data(), k2vuyPixelFormat, width, height, width * 2};
    }

    std::vector<uint8_t> plain;
    std::vector<uint8_t> white;
    int32_t width;
    int32_t height;
};

} // namespace

std::vector<CaptureFormat> TestPattern::Formats() const
{
    std::vector<CaptureFormat> formats;
    for (const FourCharCode code : {k2vuyPixelFormat, kCompressed})
        for (const auto& [width, height] : kSizes)
            for (const double rate : kRates)
                formats.push_back({code, width, height, rate});
    return formats;
}

Result TestPattern::SetFormat(const CaptureFormat& wanted)
{
    if (wanted.width < 1 || wanted.height < 1 || !(wanted.frameRate >= 0))
        return deviceCantMeetRequest;
    const auto nearest = std::ranges::min(kSizes, {}, [&](const auto& size) {
        return std::abs(int64_t{size.first} - wanted.width) + std::abs(int64_t{size.second} - wanted.height);
    });
    const double asked = wanted.frameRate > 0 ? wanted.frameRate : format.frameRate;
    const double rate = std::ranges::min(kRates, {}, [&](double offered) { return std::abs(offered - asked); });
    FrameSink* running = sink;
    Stop();
    format = {wanted.format == kCompressed ? kCompressed : k2vuyPixelFormat, nearest.first, nearest.second, rate};
    if (running != nullptr)
        Begin(*running);
    return noErr;
}

Result TestPattern::Start(FrameSink& target)
{
    Stop();
    nextNumber = 0;
    Begin(target);
    return noErr;
}

void TestPattern::Stop()
{
    {
        const std::lock_guard lock(mutex);
        stopping = true;
    }
    changed.notify_all();
    if (deliverer.joinable())
        deliverer.join();
    sink = nullptr;
}

void TestPattern::Begin(FrameSink& target)
{
    sink = &target;
    stopping = false;
    grid = FrameGrid::ForRate(format.frameRate);
    firstFrame = grid.FrameAt(MonotonicNow()) + 1;
    firstNumber = nextNumber;
    nextJob = due = firstFrame;
    compressed.clear();
    deliverer = std::thread([this] { format.format == kCompressed ? DeliverCompressed() : DeliverRaw(); });
}

void TestPattern::DeliverRaw()
{
    Picture picture(format.width, format.height);
    for (int64_t frame = firstFrame;; frame = Following(frame)) {
        const auto bytes = picture.Draw(NumberOf(frame), grid.IsFlash(frame));
        if (!WaitFor(frame))
            return;
        Deliver(frame, bytes);
    }
}

void TestPattern::DeliverCompressed()
{
    std::vector<std::thread> compressing;
    for (int i = 0; i < kCompressingThreads; ++i)
        compressing.emplace_back([this] { CompressFrames(); });
    for (int64_t frame = firstFrame; WaitFor(frame); frame = FollowingJob(frame)) {
        const OwnedBlock block = TakeCompressed(frame);
        if (block.Size() > 0)
            Deliver(frame, block.Bytes());
    }
    for (auto& thread : compressing)
        thread.join();
}

void TestPattern::CompressFrames()
{
    Picture picture(format.width, format.height);
    const auto compressor = FrameCompressor::Create({.codec = kCompressed});
    int64_t frame = 0;
    while (compressor && TakeJob(frame)) {
        const auto bytes = picture.Draw(NumberOf(frame), grid.IsFlash(frame));
        auto block = compressor->Compress({bytes, k2vuyPixelFormat, format.width, format.height});
        const std::lock_guard lock(mutex);
        compressed.insert_or_assign(frame, std::move(block));
        changed.notify_all();
    }
}

// The next frame worth compressing; waits while enough are ready. False when the device stops.
bool TestPattern::TakeJob(int64_t& frame)
{
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return stopping || nextJob < due + kFramesAhead; });
    frame = nextJob = std::max(nextJob, due);
    ++nextJob;
    return !stopping;
}

// The compressed frame, awaited when it is not ready; empty when it can't be compressed or the device stops.
OwnedBlock TestPattern::TakeCompressed(int64_t frame)
{
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return stopping || compressed.contains(frame); });
    OwnedBlock block;
    if (const auto found = compressed.find(frame); found != compressed.end())
        block = std::move(found->second);
    compressed.erase(compressed.begin(), compressed.upper_bound(frame));
    return block;
}

void TestPattern::Deliver(int64_t frame, std::span<const uint8_t> bytes)
{
    nextNumber = NumberOf(frame) + 1;
    sink->FrameArrived({.picture = {bytes, format.format, format.width, format.height},
                        .captureTime = grid.TimeOf(frame),
                        .sequence = NumberOf(frame)});
}

// Waits for a frame's time. False when the device stops.
bool TestPattern::WaitFor(int64_t frame)
{
    std::unique_lock lock(mutex);
    due = frame;
    changed.notify_all();
    return !changed.wait_until(lock, SteadyTime(grid.TimeOf(frame)), [this] { return stopping; });
}

int64_t TestPattern::Following(int64_t frame) const
{
    return std::max(frame + 1, grid.FrameAt(MonotonicNow()) - kBridged + 1);
}

// What is being compressed is delivered, however late: to leave it out would cost more time than it saves.
int64_t TestPattern::FollowingJob(int64_t frame)
{
    const std::lock_guard lock(mutex);
    return nextJob > frame + 1 ? frame + 1 : Following(frame);
}

} // namespace platform
