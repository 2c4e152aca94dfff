// SPDX-License-Identifier: MIT
#pragma once

#include "platform/sound/SoundSource.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <vector>

/// Collects what a source delivers, and waits for it.
class CollectingSink : public platform::SoundSink {
public:
    struct Buffer {
        std::vector<uint8_t> bytes;
        platform::SoundFormat format;
        int64_t captureTime;
        uint64_t framesLost;

        double Seconds() const
        {
            return static_cast<double>(bytes.size()) / format.BytesPerFrame() / format.sampleRate;
        }
    };

    void SoundArrived(const platform::CapturedSound& sound) override
    {
        const std::lock_guard lock(mutex);
        buffers.push_back(
            {{sound.bytes.begin(), sound.bytes.end()}, sound.format, sound.captureTime, sound.framesLost});
        changed.notify_all();
    }

    void SoundFailed(platform::Result) override { ++failures; }

    /// Waits until `enough` is true for the buffers so far, 20 seconds at most, and returns them.
    template <typename Condition> std::vector<Buffer> WaitFor(Condition enough)
    {
        std::unique_lock lock(mutex);
        changed.wait_for(lock, std::chrono::seconds(20), [&] { return enough(buffers); });
        return buffers;
    }

    void Clear()
    {
        const std::lock_guard lock(mutex);
        buffers.clear();
    }

    std::atomic<int> failures = 0;

private:
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<Buffer> buffers;
};
