// SPDX-License-Identifier: MIT
#pragma once

#include "platform/sound/SoundSource.h"

#include <cstdint>
#include <memory>
#include <vector>

struct SwrContext;

namespace platform {

/// Brings the samples of a source onto the monotonic clock.
///
/// A source counts by its own crystal, which runs some millionths fast or slow, while a recording counts samples at the
/// nominal rate. The recovery compares the two clocks and resamples very slightly (libswresample), so that what it
/// gives is a line of samples at exactly the nominal rate of the monotonic clock, from the first one to the next gap.
/// A source whose stamps agree with its count is passed on bit for bit.
class DriftCorrection {
public:
    /// How the control loop that steers the resampler behaves.
    struct Settings {
        double loopSeconds = 20;     ///< a difference is worked off in about this time
        double smoothingSeconds = 2; ///< over which the jitter of stamps is averaged first
        double maxCorrection = 1e-3; ///< of the rate; less than anyone hears as pitch
        double engageAt = 0.002;     ///< smoothed difference, in seconds, from which on the sound is resampled
        double gap = 0.04;           ///< a stamp off by more seconds begins a new line at its own time
    };

    DriftCorrection() : DriftCorrection(Settings()) {}
    explicit DriftCorrection(const Settings& settings) : settings(settings) {}

    /// Forgets the line and what is known of the source: the next sound may be another one's.
    void Reset();

    /// Takes captured sound and gives what of the line it completes: the same format, stamped by the line's own count.
    /// It may be a few samples more or fewer, or none. `bytes` of the result stay until the next call or are those
    /// given.
    CapturedSound Take(const CapturedSound& captured);

    /// By how much the source is slow, as a fraction of its rate (1e-4: it delivers 100 samples in a million too few).
    double Correction() const { return correction; }

private:
    struct Release {
        void operator()(SwrContext* resampler) const;
    };

    int64_t LineEnd() const;
    int64_t HeldBack() const;
    void BeginLine(const CapturedSound& captured);
    void Follow(double error, double seconds);
    void Engage();
    std::span<const uint8_t> Resample(std::span<const uint8_t> bytes);
    std::span<const uint8_t> Convert(std::span<const uint8_t> bytes);
    const uint8_t* Widened(std::span<const uint8_t> packed);
    static std::span<const uint8_t> Narrowed(std::span<uint8_t> samples);
    void Remember(std::span<const uint8_t> bytes);

    const Settings settings;
    SoundFormat format;

    // The line: its end is `frames` sample frames after `begin`, so that no rounding adds up.
    bool begun = false;
    int64_t begin = 0;
    int64_t frames = 0;

    double smoothed = 0;      ///< difference of the clocks in seconds, positive where the source is slow
    double steady = 0;        ///< the part of the correction that the loop has learned
    double correction = 0;    ///< of the rate, in use
    double secondsInLine = 0; ///< captured so far

    std::unique_ptr<SwrContext, Release> resampler; ///< null while the sound is passed on as it is
    std::vector<uint8_t> history;                   ///< the last frames passed on, with which the resampler begins
    std::vector<uint8_t> output;
    std::vector<int32_t> wide; ///< samples of 24 bits on their way to the resampler
};

} // namespace platform
