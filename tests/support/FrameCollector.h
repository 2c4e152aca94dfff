// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/FrameReader.h"
#include "platform/digitizer/Digitizer.h"
#include "platform/digitizer/FrameGrid.h"
#include "platform/digitizer/testpattern/TestPatternLayout.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <vector>

/// What is stored of a delivered frame.
struct SeenFrame {
    std::optional<uint32_t> number = std::nullopt; ///< read from the picture
    bool flash = false;
    uint32_t sequence = 0;
    int64_t captureTime = 0;
    int64_t arrival = 0;
    int32_t width = 0;
    int32_t height = 0;
    platform::FourCharCode format = 0;
    platform::VideoColors colors;
    size_t failures = 0; ///< reported before this frame
};

/// Takes the frames of a digitizer and reads the numbers of those that show the Test Pattern.
class FrameCollector : public platform::FrameSink {
public:
    void FrameArrived(const platform::CapturedFrame& frame) override
    {
        const platform::RawFrame& picture = frame.picture;
        SeenFrame one{.sequence = frame.sequence,
                      .captureTime = frame.captureTime,
                      .arrival = platform::MonotonicNow(),
                      .width = picture.width,
                      .height = picture.height,
                      .format = picture.format,
                      .colors = picture.colors};
        Read(picture, one);
        const std::lock_guard lock(mutex);
        one.failures = failures.size();
        seen.push_back(one);
        last.assign(picture.bytes.begin(), picture.bytes.end());
        changed.notify_all();
    }

    void FrameDamaged(uint32_t) override
    {
        const std::lock_guard lock(mutex);
        ++damaged;
        changed.notify_all();
    }

    void CaptureFailed(platform::Result result) override
    {
        const std::lock_guard lock(mutex);
        failures.push_back(result);
        changed.notify_all();
    }

    /// Returns false if there are not that many frames, or a failure, within half a minute.
    bool WaitFor(size_t frames)
    {
        return Wait([=, this] { return seen.size() >= frames; });
    }
    bool WaitForDamaged(size_t count)
    {
        return Wait([=, this] { return damaged >= count; });
    }
    bool WaitForFailure(size_t count = 1)
    {
        return Wait([=, this] { return failures.size() >= count; });
    }

    std::vector<SeenFrame> Seen() const { return Copy(seen); }
    /// The number of frames that came, whole or damaged.
    size_t Arrived() const
    {
        const std::lock_guard lock(mutex);
        return seen.size() + damaged;
    }
    /// The bytes of the last frame.
    std::vector<uint8_t> Last() const { return Copy(last); }
    std::vector<platform::Result> Failures() const { return Copy(failures); }

private:
    template <typename Value> Value Copy(const Value& value) const
    {
        const std::lock_guard lock(mutex);
        return value;
    }

    template <typename Condition> bool Wait(Condition condition)
    {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(30), condition);
    }

    void Read(const platform::RawFrame& frame, SeenFrame& one)
    {
        if (frame.width < 160 || frame.height < 60)
            return;
        const auto read = reader.Read(frame);
        const auto picture = read ? reader.As32(*read) : std::nullopt;
        if (!picture)
            return;
        one.number = platform::ReadFrameNumber(picture->pixels, picture->width, picture->height, picture->rowBytes);
        one.flash = platform::ReadFlash(picture->pixels, picture->width, picture->height, picture->rowBytes);
    }

    mutable std::mutex mutex;
    std::condition_variable changed;
    std::vector<SeenFrame> seen;
    std::vector<uint8_t> last;
    std::vector<platform::Result> failures;
    platform::FrameReader reader;
    size_t damaged = 0;
};
