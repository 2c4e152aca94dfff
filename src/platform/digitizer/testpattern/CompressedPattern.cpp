// SPDX-License-Identifier: MIT
#include "platform/digitizer/testpattern/CompressedPattern.h"

#include "platform/drawing/PixelFormat.h"

#include <algorithm>
#include <utility>

namespace platform {
namespace {

constexpr int kThreads = 2;
constexpr int64_t kFramesAhead = 4;

} // namespace

CompressedPattern::CompressedPattern(int32_t pictureWidth, int32_t pictureHeight, const PatternClock& frameClock,
                                     Ready whenReady)
    : width(pictureWidth),
      height(pictureHeight),
      clock(frameClock),
      ready(std::move(whenReady)),
      next(clock.first),
      awaited(clock.first)
{
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back([this] { Work(); });
}

CompressedPattern::~CompressedPattern()
{
    {
        const std::lock_guard lock(mutex);
        isEnding = true;
        changed.notify_all();
    }
    for (auto& thread : threads)
        thread.join();
}

void CompressedPattern::Await(int64_t frame)
{
    const std::lock_guard lock(mutex);
    awaited = frame;
    isReported = frames.contains(frame);
    if (isReported)
        ready(frame);
    changed.notify_all();
}

OwnedBlock CompressedPattern::Take(int64_t frame)
{
    const std::lock_guard lock(mutex);
    OwnedBlock block;
    if (const auto found = frames.find(frame); found != frames.end())
        block = std::move(found->second);
    frames.erase(frames.begin(), frames.upper_bound(frame));
    return block;
}

bool CompressedPattern::HasBegun(int64_t frame)
{
    const std::lock_guard lock(mutex);
    return next > frame;
}

// Waits while enough frames are ready. Returns nothing at the end.
std::optional<int64_t> CompressedPattern::NextJob()
{
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return isEnding || next < awaited + kFramesAhead; });
    if (isEnding)
        return std::nullopt;
    const int64_t frame = std::max(next, awaited);
    next = frame + 1;
    return frame;
}

void CompressedPattern::Work()
{
    PatternPicture picture(width, height);
    const auto compressor = FrameCompressor::Create({.codec = kPatternCodec});
    while (const auto frame = NextJob()) {
        const auto bytes = picture.Draw(clock.NumberOf(*frame), clock.grid.IsFlash(*frame));
        OwnedBlock block = compressor ? compressor->Compress({bytes, k2vuyPixelFormat, width, height}) : OwnedBlock();
        const std::lock_guard lock(mutex);
        frames.insert_or_assign(*frame, std::move(block));
        if (*frame == awaited && !std::exchange(isReported, true))
            ready(*frame);
    }
}

} // namespace platform
