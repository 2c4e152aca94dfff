// SPDX-License-Identifier: MIT
// Clock recovery.
//
// The stamps of a source scatter by some milliseconds around the truth, and their mean drifts away from the count of
// its samples as the source's crystal drifts from the system's clock. The difference is averaged, and a
// proportional-integral loop, critically damped, turns it into a correction of the rate: the integral learns the
// crystal's error, the proportional part works off what has already gathered. At 100 millionths the difference stays
// below three milliseconds from the first second on.
//
// The resampler is put in when the difference first becomes noticeable. It begins with the samples passed on just
// before, whose output is thrown away: so its filter is full when the first sample counts, and nothing clicks.
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

// More than the resampler's filter is long.
constexpr size_t kHistoryFrames = 256;
// The correction is given to the resampler as so many samples in this number.
constexpr int kCorrectionDistance = 10'000'000;

double Seconds(int64_t nanoseconds)
{
    return static_cast<double>(nanoseconds) / kNanosecondsPerSecond;
}

SwrContext* MakeResampler(const SoundFormat& format)
{
    AVChannelLayout layout{};
    av_channel_layout_default(&layout, format.channels);
    const AVSampleFormat samples = format.sampleSize == 8    ? AV_SAMPLE_FMT_U8
                                   : format.sampleSize == 16 ? AV_SAMPLE_FMT_S16
                                                             : AV_SAMPLE_FMT_S32;
    const int rate = static_cast<int>(std::lround(format.sampleRate));
    SwrContext* made = nullptr;
    if (swr_alloc_set_opts2(&made, &layout, samples, rate, &layout, samples, rate, 0, nullptr) < 0)
        return nullptr;
    // Equal rates would leave the resampler out; between the phases of its filter it interpolates.
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

int64_t DriftCorrection::LineEnd() const
{
    return begin + std::llround(static_cast<double>(frames) * kNanosecondsPerSecond / format.sampleRate);
}

// What the resampler has taken and not given yet.
int64_t DriftCorrection::HeldBack() const
{
    return resampler ? swr_get_delay(resampler.get(), kNanosecondsPerSecond) : 0;
}

CapturedSound DriftCorrection::Take(const CapturedSound& captured)
{
    const double error = begun ? Seconds(captured.captureTime - LineEnd() - HeldBack()) : 0;
    if (!begun || captured.format != format || captured.framesLost > 0 || std::abs(error) > settings.gap)
        BeginLine(captured);
    else
        Follow(error, static_cast<double>(captured.bytes.size()) / format.BytesPerFrame() / format.sampleRate);
    CapturedSound line = captured;
    line.captureTime = LineEnd();
    if (resampler)
        line.bytes = Resample(captured.bytes);
    else
        Remember(captured.bytes);
    frames += static_cast<int64_t>(line.bytes.size()) / format.BytesPerFrame();
    return line;
}

// What the loop has learned of the crystal stays true.
void DriftCorrection::BeginLine(const CapturedSound& captured)
{
    if (captured.format != format)
        steady = 0;
    resampler.reset();
    history.clear();
    format = captured.format;
    begun = true;
    begin = captured.captureTime;
    frames = 0;
    smoothed = 0;
    secondsInLine = 0;
    correction = steady;
    if (steady != 0)
        Engage();
}

void DriftCorrection::Follow(double error, double seconds)
{
    secondsInLine += seconds;
    smoothed += (error - smoothed) * std::min(1.0, seconds / settings.smoothingSeconds);
    if (!resampler) {
        if (std::abs(smoothed) < settings.engageAt || secondsInLine < settings.smoothingSeconds)
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
    resampler.reset(MakeResampler(format));
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

// The resampler knows no samples of three bytes: they are widened for it, and narrowed behind it.
std::span<const uint8_t> DriftCorrection::Convert(std::span<const uint8_t> bytes)
{
    const bool isPacked = format.sampleSize == 24;
    const auto frameBytes = static_cast<size_t>(isPacked ? 4 * format.channels : format.BytesPerFrame());
    const auto given = static_cast<int>(bytes.size() / static_cast<size_t>(format.BytesPerFrame()));
    const int room = given + given / 100 + static_cast<int>(kHistoryFrames);
    output.resize(std::max(output.size(), static_cast<size_t>(room) * frameBytes));
    uint8_t* target = output.data();
    const uint8_t* source = isPacked ? Widened(bytes) : bytes.data();
    const int made = std::max(0, swr_convert(resampler.get(), &target, room, &source, given));
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

// In place: what is written lies before what is still to be read.
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
    const size_t most = kHistoryFrames * static_cast<size_t>(format.BytesPerFrame());
    const auto newest = bytes.last(std::min(bytes.size(), most));
    if (history.size() + newest.size() > most)
        history.erase(history.begin(), history.begin() + static_cast<ptrdiff_t>(history.size() + newest.size() - most));
    history.insert(history.end(), newest.begin(), newest.end());
}

} // namespace platform
