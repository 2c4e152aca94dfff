// SPDX-License-Identifier: MIT
#include "platform/clock/MonotonicClock.h"
#include "platform/sound/Sample24.h"
#include "platform/sound/SoundInput.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace platform {
namespace {

constexpr uint64_t kTaken = uint64_t{1} << 32;
constexpr double kFullScale = 32768;
// Sources deliver several times more often than this.
constexpr int64_t kSilentAfter = kNanosecondsPerSecond / 2;

uint64_t Packed(uint64_t left, uint64_t right)
{
    return left | right << 16;
}

// The largest magnitude of a sample of one channel, 0 to `kFullScale`.
uint64_t PeakOf(const CapturedSound& sound, size_t channel)
{
    const auto channels = static_cast<size_t>(sound.format.channels);
    int peak = 0;
    if (sound.format.sampleSize == 8) {
        for (size_t i = channel; i < sound.bytes.size(); i += channels)
            peak = std::max(peak, std::abs(sound.bytes[i] - 128));
        return static_cast<uint64_t>(peak) * 256;
    }
    if (sound.format.sampleSize == 24) {
        for (size_t i = 3 * channel; i + 3 <= sound.bytes.size(); i += 3 * channels)
            peak = std::max(peak, std::abs(WideSample24(&sound.bytes[i]) >> 16));
        return static_cast<uint64_t>(peak);
    }
    const size_t samples = sound.bytes.size() / 2;
    for (size_t i = channel; i < samples; i += channels) {
        int16_t sample;
        std::memcpy(&sample, sound.bytes.data() + i * 2, sizeof sample);
        peak = std::max(peak, std::abs(int{sample}));
    }
    return static_cast<uint64_t>(peak);
}

} // namespace

void LevelMeter::SetChannels(int32_t channelsMetered)
{
    metered = channelsMetered;
    peaks = 0;
}

int32_t LevelMeter::Channels() const
{
    return metered;
}

void LevelMeter::Feed(const CapturedSound& sound)
{
    if (metered.load(std::memory_order_relaxed) <= 0)
        return;
    const uint64_t left = PeakOf(sound, 0);
    const uint64_t right = sound.format.channels > 1 ? PeakOf(sound, 1) : left;
    uint64_t old = peaks;
    uint64_t now;
    do
        now = (old & kTaken) != 0 ? Packed(left, right)
                                  : Packed(std::max(left, old & 0xFFFF), std::max(right, old >> 16 & 0xFFFF));
    while (!peaks.compare_exchange_weak(old, now));
    lastFed = MonotonicNow();
}

std::pair<double, double> LevelMeter::Levels()
{
    // A buffer that was being processed while the meter was turned off may have stored its peak.
    if (metered <= 0 || MonotonicNow() - lastFed > kSilentAfter)
        return {};
    const uint64_t taken = peaks.fetch_or(kTaken);
    return {static_cast<double>(taken & 0xFFFF) / kFullScale, static_cast<double>(taken >> 16 & 0xFFFF) / kFullScale};
}

} // namespace platform
