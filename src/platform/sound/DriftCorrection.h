// SPDX-License-Identifier: MIT
#pragma once

#include "platform/sound/SoundSource.h"

#include <cstdint>
#include <memory>
#include <vector>

struct SwrContext;

namespace platform {

/// Aligns the samples of a source with the monotonic clock.
///
/// A source samples by its own crystal, which is some ppm fast or slow, while a recording assumes the nominal rate.
/// This class compares the two clocks and resamples very slightly (libswresample), so that its output has exactly the
/// nominal rate by the monotonic clock, in segments that last from one gap to the next. Sound whose stamps agree with
/// its sample count is passed on unchanged, unless another nominal rate is wanted: the same resampler converts it.
class DriftCorrection {
public:
    /// The parameters of the control loop.
    struct Settings {
        double loopSeconds = 20;     ///< time in which a difference is corrected
        double smoothingSeconds = 2; ///< time over which the jitter of stamps is averaged
        double maxCorrection = 1e-3; ///< as a fraction of the rate; too small to be heard as a change of pitch
        double engageAt = 0.002;     ///< smoothed difference in seconds at which resampling starts
        double gap = 0.04;           ///< a stamp that is off by more seconds starts a new segment
    };

    /// With the default parameters of the control loop.
    DriftCorrection() : DriftCorrection(Settings()) {}
    /// With other parameters of the control loop.
    explicit DriftCorrection(const Settings& settings) : settings(settings) {}

    /// Resets to the initial state, for another source.
    void Reset();

    /// Takes captured sound and returns the corrected sound, at `wantedRate` in hertz (0: that of `captured`) and
    /// otherwise in the same format. That may be a few samples more or fewer, or none. `bytes` of the result are valid
    /// until the next call, or are those of `captured`.
    CapturedSound Take(const CapturedSound& captured, double wantedRate = 0);

    /// By how much the source is slow, as a fraction of its rate (1e-4: 100 samples per million too few).
    double Correction() const { return correction; }

private:
    struct Release {
        void operator()(SwrContext* resampler) const;
    };

    int64_t SegmentEnd() const;
    int64_t ResamplerDelay() const;
    void BeginSegment(const CapturedSound& captured, double wantedRate);
    void Follow(double error, double seconds);
    void Engage();
    std::span<const uint8_t> Resample(std::span<const uint8_t> bytes);
    std::span<const uint8_t> Convert(std::span<const uint8_t> bytes);
    const uint8_t* Widened(std::span<const uint8_t> packed);
    static std::span<const uint8_t> Narrowed(std::span<uint8_t> samples);
    void Remember(std::span<const uint8_t> bytes);

    const Settings settings;
    SoundFormat format; ///< of the source
    double rate = 0;    ///< of the output

    // The present segment ends `frames` sample frames at that rate after `begin`, which avoids accumulating rounding
    // errors.
    bool begun = false;
    int64_t begin = 0;
    int64_t frames = 0;

    double smoothed = 0;         ///< difference of the clocks in seconds, positive if the source is slow
    double steady = 0;           ///< the integral part of the correction
    double correction = 0;       ///< of the rate, in use
    double secondsInSegment = 0; ///< captured so far

    std::unique_ptr<SwrContext, Release> resampler; ///< null while the sound is passed on unchanged
    std::vector<uint8_t> history;                   ///< the last frames passed on, which fill the resampler's filter
    std::vector<uint8_t> output;
    std::vector<int32_t> wide; ///< 24-bit samples, widened for the resampler
};

} // namespace platform
