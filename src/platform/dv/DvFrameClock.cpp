// SPDX-License-Identifier: MIT
#include "platform/dv/DvFrameClock.h"

#include <algorithm>
#include <cmath>

namespace platform {
namespace {

// No frame waits longer than this in the receiver's buffer: a frame that is later was sent later.
constexpr int64_t kThirds = 3; // of a nanosecond
constexpr int64_t kPalPeriod = kThirds * 40'000'000;
constexpr int64_t kNtscPeriod = 100'100'000;
constexpr int64_t kMaxLateness = kThirds * 250'000'000;
constexpr int kLateFrames = 8;
constexpr double kDriftAllowed = kThirds * 10e6;
constexpr double kDriftSettled = kThirds * 1e6;
constexpr double kSmoothing = 1.0 / 32;
constexpr double kCorrection = 1.0 / 128;

} // namespace

int64_t DvFrameClock::Next(int64_t arrivalTime, bool isPal, bool packetsLost)
{
    lost = 0;
    const int64_t arrival = kThirds * arrivalTime;
    const int64_t framePeriod = isPal ? kPalPeriod : kNtscPeriod;
    const bool isFirst = end == 0 || framePeriod != period;
    const int64_t late = isFirst ? kMaxLateness + 1 : arrival - (end + framePeriod);
    period = framePeriod;
    const bool isLate = late > period / 2;
    minLateness = isLate && lateFrames > 0 ? std::min(minLateness, late) : late;
    lateFrames = isLate ? lateFrames + 1 : 0;
    if (isFirst || late > kMaxLateness || late < -period / 2)
        Jump(arrival, packetsLost && !isFirst);
    else if (isLate && (packetsLost || lateFrames >= kLateFrames))
        Jump(end + period + (minLateness + period / 2) / period * period, true);
    else
        Follow(late);
    latest = std::max((end - period) / kThirds, latest + 1);
    return latest;
}

// Frames are missing: continue the times at the arrivals.
void DvFrameClock::Jump(int64_t to, bool framesLost)
{
    if (framesLost && to > end + period)
        lost = static_cast<uint32_t>(std::min<int64_t>((to - end - period / 2) / period, 1000));
    end = to;
    drift = 0;
    lateFrames = 0;
    isFollowing = false;
}

void DvFrameClock::Follow(int64_t late)
{
    end += period;
    if (late > period / 2)
        return; // delayed on the way
    drift += (static_cast<double>(late) - drift) * kSmoothing;
    isFollowing = std::abs(drift) > (isFollowing ? kDriftSettled : kDriftAllowed);
    if (!isFollowing)
        return;
    const double step = drift * kCorrection;
    end += static_cast<int64_t>(step);
    drift -= step;
}

} // namespace platform
