// SPDX-License-Identifier: MIT
// Clock recovery.
//
// The stamps of a source have several milliseconds of jitter, and their mean drifts away from the sample count as the
// source's crystal drifts from the system clock. The difference is averaged, and a critically damped
// proportional-integral loop turns it into a correction of the rate: the integral part learns the crystal's error, the
// proportional part removes the difference that has accumulated. At 100 ppm the difference stays below three
// milliseconds from the first second on.
//
// The resampler is inserted when the difference first becomes noticeable. It starts with the samples passed on just
// before and drops their output, so its filter is full when the first new sample arrives, and nothing clicks. If the
// output has another nominal rate it is there from the start of the segment.
#include "platform/sound/DriftCorrection.h"

#include "platform/clock/MonotonicClock.h"
#include "platform/sound/Sample24.h"

#include <algorithm>
#include <cmath>
#include <cstring>

extern "C" {
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

namespace platform {
namespace {

// Longer than the resampler's filter.
constexpr size_t kHistoryFrames = 256;
// The resampler takes the correction as a number of samples in this many.
constexpr int kCorrectionDistance = 10'000'000;

double Seconds(int64_t nanoseconds)
{
    return static_cast<double>(nanoseconds) / kNanosecondsPerSecond;
}

SwrContext* MakeResampler(const SoundFormat& format, double outputRate)
{
    AVChannelLayout layout{};
    av_channel_layout_default(&layout, format.channels);
    const AVSampleFormat samples = format.sampleSize == 8    ? AV_SAMPLE_FMT_U8
                                   : format.sampleSize == 16 ? AV_SAMPLE_FMT_S16
                                                             : AV_SAMPLE_FMT_S32;
    const int from = static_cast<int>(std::lround(format.sampleRate));
    const int to = static_cast<int>(std::lround(outputRate));
    SwrContext* made = nullptr;
    if (swr_alloc_set_opts2(&made, &layout, samples, to, &layout, samples, from, 0, nullptr) < 0)
        return nullptr;
    // Resample even at equal rates, and interpolate between the phases of the filter.
    av_opt_set_int(made, "flags", SWR_FLAG_RESAMPLE, 0);
    av_opt_set_int(made, "exact_rational", 0, 0);
    av_opt_set_int(made, "linear_interp", 1, 0);
    av_opt_set_int(made, "filter_size", 64, 0);
    av_opt_set_sample_fmt(made, "internal_sample_fmt", AV_SAMPLE_FMT_FLTP, 0);
    if (swr_init(made) < 0)
        swr_free(&made);
    return made;
}

} // namespace

void DriftCorrection::Release::operator()(SwrContext* resampler) const
{
    swr_free(&resampler);
}

void DriftCorrection::Reset()
{
    begun = false;
    steady = 0;
    resampler.reset();
}

int64_t DriftCorrection::SegmentEnd() const
{
    return begin + std::llround(static_cast<double>(frames) * kNanosecondsPerSecond / rate);
}

// The duration of the samples inside the resampler.
int64_t DriftCorrection::ResamplerDelay() const
{
    return resampler ? swr_get_delay(resampler.get(), kNanosecondsPerSecond) : 0;
}

CapturedSound DriftCorrection::Take(const CapturedSound& captured, double wantedRate)
{
    if (wantedRate == 0)
        wantedRate = captured.format.sampleRate;
    const double error = begun ? Seconds(captured.captureTime - SegmentEnd() - ResamplerDelay()) : 0;
    const bool isSame = begun && captured.format == format && wantedRate == rate;
    if (!isSame || captured.framesLost > 0 || std::abs(error) > settings.gap)
        BeginSegment(captured, wantedRate);
    else
        Follow(error, static_cast<double>(captured.bytes.size()) / format.BytesPerFrame() / format.sampleRate);
    CapturedSound result = captured;
    result.format.sampleRate = rate;
    result.captureTime = SegmentEnd();
    if (resampler)
        result.bytes = Resample(captured.bytes);
    else
        Remember(captured.bytes);
    frames += static_cast<int64_t>(result.bytes.size()) / format.BytesPerFrame();
    return result;
}

// Keeps what the loop has learned about the crystal.
void DriftCorrection::BeginSegment(const CapturedSound& captured, double wantedRate)
{
    if (captured.format != format)
        steady = 0;
    resampler.reset();
    history.clear();
    format = captured.format;
    rate = wantedRate;
    begun = true;
    begin = captured.captureTime;
    frames = 0;
    smoothed = 0;
    secondsInSegment = 0;
    correction = steady;
    if (steady != 0 || rate != format.sampleRate)
        Engage();
    if (!resampler)
        rate = format.sampleRate;
}

void DriftCorrection::Follow(double error, double seconds)
{
    secondsInSegment += seconds;
    smoothed += (error - smoothed) * std::min(1.0, seconds / settings.smoothingSeconds);
    if (!resampler) {
        if (std::abs(smoothed) < settings.engageAt || secondsInSegment < settings.smoothingSeconds)
            return;
        Engage();
    }
    const double frequency = 1 / settings.loopSeconds;
    const double wanted = steady + 2 * frequency * smoothed;
    correction = std::clamp(wanted, -settings.maxCorrection, settings.maxCorrection);
    if (correction == wanted)
        steady += frequency * frequency * smoothed * seconds;
}

void DriftCorrection::Engage()
{
    resampler.reset(MakeResampler(format, rate));
    if (!resampler || history.empty())
        return;
    const auto skipped = static_cast<int>(history.size() / static_cast<size_t>(format.BytesPerFrame()));
    swr_drop_output(resampler.get(), skipped);
    Convert(history);
    history.clear();
}

std::span<const uint8_t> DriftCorrection::Resample(std::span<const uint8_t> bytes)
{
    const int samples = static_cast<int>(std::lround(correction * kCorrectionDistance));
    swr_set_compensation(resampler.get(), samples, kCorrectionDistance);
    return Convert(bytes);
}

// The resampler does not support samples of three bytes, so they are widened before it and narrowed after it.
std::span<const uint8_t> DriftCorrection::Convert(std::span<const uint8_t> bytes)
{
    const bool isPacked = format.sampleSize == 24;
    const auto frameBytes = static_cast<size_t>(isPacked ? 4 * format.channels : format.BytesPerFrame());
    const auto given = static_cast<int>(bytes.size() / static_cast<size_t>(format.BytesPerFrame()));
    const auto atRate = static_cast<int>(given * rate / format.sampleRate);
    const int available = atRate + atRate / 100 + static_cast<int>(kHistoryFrames);
    output.resize(std::max(output.size(), static_cast<size_t>(available) * frameBytes));
    uint8_t* target = output.data();
    const uint8_t* source = isPacked ? Widened(bytes) : bytes.data();
    const int made = std::max(0, swr_convert(resampler.get(), &target, available, &source, given));
    const auto converted = std::span(output).first(static_cast<size_t>(made) * frameBytes);
    return isPacked ? Narrowed(converted) : converted;
}

const uint8_t* DriftCorrection::Widened(std::span<const uint8_t> packed)
{
    wide.resize(packed.size() / 3);
    for (size_t i = 0; i < wide.size(); ++i)
        wide[i] = WideSample24(&packed[3 * i]);
    return reinterpret_cast<const uint8_t*>(wide.data());
}

// In place: each sample is written before the next one to be read.
std::span<const uint8_t> DriftCorrection::Narrowed(std::span<uint8_t> samples)
{
    const size_t count = samples.size() / 4;
    for (size_t i = 0; i < count; ++i) {
        int32_t sample;
        std::memcpy(&sample, &samples[4 * i], sizeof sample);
        PutWideSample24(&samples[3 * i], sample);
    }
    return samples.first(3 * count);
}

void DriftCorrection::Remember(std::span<const uint8_t> bytes)
{
    const size_t max = kHistoryFrames * static_cast<size_t>(format.BytesPerFrame());
    const auto newest = bytes.last(std::min(bytes.size(), max));
    if (history.size() + newest.size() > max)
        history.erase(history.begin(), history.begin() + static_cast<ptrdiff_t>(history.size() + newest.size() - max));
    history.insert(history.end(), newest.begin(), newest.end());
}

} // namespace platform
