// SPDX-License-Identifier: MIT
#include "platform/sound/DriftCorrection.h"

#include "SampleValues.h"
#include "platform/clock/MonotonicClock.h"

#include <gtest/gtest.h>

#include <numbers>
#include <random>

using namespace platform;

namespace {

constexpr double kTone = 997;
constexpr double kAmplitude = 0.5;
constexpr int64_t kStart = 1000 * kNanosecondsPerSecond;

/// A source with its own crystal that plays a steady tone: sample n is captured at n / (rate * (1 + error)).
struct DriftingSource {
    double error = 0;
    double jitter = 0; ///< seconds by which stamps scatter
    double rate = 48000;
    size_t bufferFrames = 480;
    int64_t frame = 0;
    std::mt19937 random{1};
    std::vector<int16_t> samples = std::vector<int16_t>(bufferFrames);

    double TimeOf(int64_t n) const { return static_cast<double>(n) / (rate * (1 + error)); }

    CapturedSound Next(bool withTone)
    {
        for (size_t n = 0; withTone && n < bufferFrames; ++n)
            samples[n] = static_cast<int16_t>(std::lround(
                32768 * kAmplitude * std::sin(2 * std::numbers::pi * kTone * TimeOf(frame + static_cast<int64_t>(n)))));
        const double stamp = TimeOf(frame) + std::uniform_real_distribution(-jitter, jitter)(random);
        frame += static_cast<int64_t>(bufferFrames);
        const std::span bytes(reinterpret_cast<const uint8_t*>(samples.data()), samples.size() * 2);
        return {bytes, {rate, 1, 16}, kStart + std::llround(stamp * kNanosecondsPerSecond), 0};
    }
};

std::vector<double> SamplesOf(const CapturedSound& sound)
{
    return SampleValues(sound.bytes, sound.format, 0);
}

/// The residual of sound after subtracting its best fitting tone of that frequency, relative to the tone.
double NoiseShare(std::span<const double> samples, double frequency)
{
    double sine = 0;
    double cosine = 0;
    const auto phase = [&](size_t n) { return 2 * std::numbers::pi * frequency * static_cast<double>(n) / 48000; };
    for (size_t n = 0; n < samples.size(); ++n) {
        sine += samples[n] * std::sin(phase(n)) * 2 / static_cast<double>(samples.size());
        cosine += samples[n] * std::cos(phase(n)) * 2 / static_cast<double>(samples.size());
    }
    double rest = 0;
    for (size_t n = 0; n < samples.size(); ++n)
        rest += std::pow(samples[n] - sine * std::sin(phase(n)) - cosine * std::cos(phase(n)), 2);
    return std::sqrt(rest / static_cast<double>(samples.size()) * 2 / (sine * sine + cosine * cosine));
}

} // namespace

// Ten hours of a crystal that is 100 ppm off, with jitter of the stamps: the samples stay synchronised with the clock.
TEST(DriftCorrection, StaysOnTheClockForTenHours)
{
    DriftCorrection recovery;
    DriftingSource source{.error = 1e-4, .jitter = 0.004, .rate = 8000, .bufferFrames = 400};
    double end = 0; // seconds since the start, as the stamp says after the first line
    double worst = 0;
    for (int64_t buffer = 0; buffer < 10 * 3600 * 20; ++buffer) {
        const CapturedSound line = recovery.Take(source.Next(false));
        const double begin = static_cast<double>(line.captureTime - kStart) / kNanosecondsPerSecond;
        if (buffer > 0) {
            ASSERT_NEAR(begin, end, 1e-6) << "no step at " << buffer;
        }
        end = begin + static_cast<double>(line.bytes.size()) / 2 / source.rate;
        worst = std::max(worst, std::abs(end - source.TimeOf(source.frame)));
    }
    EXPECT_LT(worst, 0.010);
    EXPECT_NEAR(recovery.Correction(), -1e-4, 3e-5);
}

// A steady tone is not changed, even where the resampling starts: no step from sample to sample, no noise.
TEST(DriftCorrection, ToneStaysPure)
{
    for (const double error : {-3e-4, 3e-4}) {
        DriftCorrection recovery;
        DriftingSource source{.error = error};
        std::vector<double> samples;
        for (int buffer = 0; buffer < 100 * 240; ++buffer)
            std::ranges::copy(SamplesOf(recovery.Take(source.Next(true))), std::back_inserter(samples));
        const double steepest = kAmplitude * 2 * std::numbers::pi * kTone * (1 + 2e-3) / 48000 + 2.0 / 32768;
        for (size_t n = 1; n < samples.size(); ++n)
            ASSERT_LE(std::abs(samples[n] - samples[n - 1]), steepest) << n;
        // The end is settled.
        EXPECT_LT(NoiseShare(std::span(samples).last(24000), kTone), 0.001) << error;
    }
}

// 24-bit samples are resampled like 16-bit ones.
TEST(DriftCorrection, Resamples24Bits)
{
    DriftingSource source{.error = 3e-4};
    DriftCorrection narrow;
    DriftCorrection wide;
    for (int buffer = 0; buffer < 3000; ++buffer) {
        const CapturedSound sound = source.Next(true);
        std::vector<uint8_t> bytes(sound.bytes.size() / 2 * 3);
        for (size_t i = 0; i < source.samples.size(); ++i)
            PutWideSample24(&bytes[3 * i], source.samples[i] * (1 << 16));
        const CapturedSound line = wide.Take({bytes, {source.rate, 1, 24}, sound.captureTime, 0});
        const auto expected = SamplesOf(narrow.Take(sound));
        const auto found = SamplesOf(line);
        ASSERT_EQ(found.size(), expected.size());
        for (size_t i = 0; i < expected.size(); ++i)
            ASSERT_NEAR(found[i], expected[i], 1.0 / 32768) << buffer;
    }
    EXPECT_NE(wide.Correction(), 0);
}
