// SPDX-License-Identifier: MIT
#include "platform/sound/SoundInput.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace platform {
namespace {

constexpr uint32_t kTaken = 1U << 16;

uint32_t Packed(uint32_t left, uint32_t right)
{
    return left | right << 8;
}

// Distance from silence of the loudest sample of one channel, and what full scale would be.
int PeakOf(const CapturedSound& sound, size_t channel)
{
    const auto channels = static_cast<size_t>(sound.format.channels);
    int peak = 0;
    if (sound.format.sampleSize == 8) {
        for (size_t i = channel; i < sound.bytes.size(); i += channels)
            peak = std::max(peak, std::abs(sound.bytes[i] - 128));
        return peak * 256;
    }
    const size_t samples = sound.bytes.size() / 2;
    for (size_t i = channel; i < samples; i += channels) {
        int16_t sample;
        std::memcpy(&sample, sound.bytes.data() + i * 2, sizeof sample);
        peak = std::max(peak, std::abs(int{sample}));
    }
    return peak;
}

uint32_t LevelOf(const CapturedSound& sound, size_t channel)
{
    return static_cast<uint32_t>((PeakOf(sound, channel) * 255 + 16384) / 32768);
}

} // namespace

void LevelMeter::Switch(int32_t channelsMetered)
{
    metered = channelsMetered;
    peaks = 0;
}

int32_t LevelMeter::State() const
{
    return metered;
}

void LevelMeter::Feed(const CapturedSound& sound)
{
    if (metered.load(std::memory_order_relaxed) <= 0)
        return;
    const uint32_t left = LevelOf(sound, 0);
    const uint32_t right = sound.format.channels > 1 ? LevelOf(sound, 1) : left;
    uint32_t old = peaks;
    uint32_t now;
    do
        now = (old & kTaken) != 0 ? Packed(left, right)
                                  : Packed(std::max(left, old & 0xFF), std::max(right, old >> 8 & 0xFF));
    while (!peaks.compare_exchange_weak(old, now));
}

std::pair<uint8_t, uint8_t> LevelMeter::Levels()
{
    // A buffer that was under way when the meter was switched off may still have left its peak.
    if (metered <= 0)
        return {};
    const uint32_t taken = peaks.fetch_or(kTaken);
    return {static_cast<uint8_t>(taken), static_cast<uint8_t>(taken >> 8)};
}

} // namespace platform
