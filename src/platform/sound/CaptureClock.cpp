// SPDX-License-Identifier: MIT
#include "platform/sound/CaptureClock.h"

#include "platform/clock/MonotonicClock.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace platform {
namespace {

constexpr int64_t kGap = 100'000'000;
// Servers report too high a latency until a stream has run for a moment.
constexpr int64_t kSettling = kNanosecondsPerSecond;
constexpr int64_t kMaxSettling = 300'000'000;
// On a busy machine a few buffers are late; after lost samples all following ones are.
constexpr int kConfirmations = 10;
// Each stamp moves by this fraction towards the median, which smooths the median's own steps.
constexpr int64_t kSteering = 8;

int64_t Duration(int64_t frames, double sampleRate)
{
    return std::llround(static_cast<double>(frames) / sampleRate * kNanosecondsPerSecond);
}

} // namespace

void CaptureClock::Skip(int64_t frames, double sampleRate)
{
    counted += Duration(frames, sampleRate);
}

void CaptureClock::Begin(int64_t measured)
{
    begun = true;
    counted = settled = measured;
    settled += kSettling;
    steered = 0;
    measurements = 0;
    farAhead = 0;
}

CaptureClock::Stamp CaptureClock::Take(int64_t measured, int64_t frames, double sampleRate)
{
    Stamp stamp;
    const int64_t error = begun ? measured - counted - steered : 0;
    farAhead = error > (counted > settled ? kGap : kMaxSettling) ? farAhead + 1 : 0;
    const bool gap = std::exchange(interrupted, false) ? error > 0 : farAhead == kConfirmations;
    if (gap)
        stamp.framesLost =
            static_cast<uint64_t>(std::llround(static_cast<double>(error) * sampleRate / kNanosecondsPerSecond));
    if (!begun || gap)
        Begin(measured);
    const int64_t duration = Duration(frames, sampleRate);
    differences[measurements++ % kMeasurements] = measured - counted;
    const auto steering = static_cast<int64_t>(std::min(measurements, kMeasurements));
    steered += std::max((Median() - steered) / std::min(steering, kSteering), -duration / 2);
    stamp.time = counted + steered;
    counted += duration;
    return stamp;
}

int64_t CaptureClock::Median() const
{
    auto sorted = differences;
    const auto known = static_cast<ptrdiff_t>(std::min(measurements, kMeasurements));
    std::nth_element(sorted.begin(), sorted.begin() + known / 2, sorted.begin() + known);
    return sorted[static_cast<size_t>(known / 2)];
}

} // namespace platform
