// SPDX-License-Identifier: MIT
#include "platform/grabber/dialogs/DataRate.h"

#include "platform/clock/MonotonicClock.h"
#include "platform/grabber/dialogs/Texts.h"

#include <numeric>

namespace platform {
namespace {

constexpr int64_t kWindow = 2 * kNanosecondsPerSecond;
constexpr int kTurnsInASecond = 30;
constexpr double kSecondsPerHour = 3600;

QString SizeText(double bytes)
{
    const char* units[] = {"bytes", "kB", "MB", "GB", "TB"};
    size_t unit = 0;
    for (; bytes >= 1000 && unit + 1 < std::size(units); ++unit)
        bytes /= 1000;
    return NumberText(bytes, bytes < 10 && unit > 0 ? 1 : 0) + ' ' + units[unit];
}

} // namespace

void DataRate::Add(int64_t captureTime, int64_t bytes)
{
    if (!samples.empty() && captureTime < samples.back().time)
        samples.clear();
    samples.push_back({captureTime, bytes});
    while (samples.front().time < captureTime - kWindow)
        samples.pop_front();
}

void DataRate::NoteTurn(bool arrived)
{
    emptyTurns = arrived ? 0 : emptyTurns + 1;
    if (emptyTurns > kTurnsInASecond)
        Reset();
}

double DataRate::SamplesPerSecond() const
{
    if (samples.size() < 2 || samples.back().time == samples.front().time)
        return 0;
    return static_cast<double>(samples.size() - 1) * kNanosecondsPerSecond /
           static_cast<double>(samples.back().time - samples.front().time);
}

double DataRate::BytesPerSecond() const
{
    const auto sum = [](int64_t bytes, const Arrival& arrival) { return bytes + arrival.bytes; };
    const int64_t bytes = std::accumulate(samples.begin(), samples.end(), int64_t{0}, sum);
    return samples.empty() ? 0 : SamplesPerSecond() * static_cast<double>(bytes) / static_cast<double>(samples.size());
}

QString PerSecondText(double bytesPerSecond)
{
    return SizeText(bytesPerSecond) + " a second";
}

QString DataRateText(double bytesPerSecond)
{
    return PerSecondText(bytesPerSecond) + ", " + SizeText(bytesPerSecond * kSecondsPerHour) + " an hour";
}

} // namespace platform
