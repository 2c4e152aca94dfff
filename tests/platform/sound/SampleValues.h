// SPDX-License-Identifier: MIT
#pragma once

#include "platform/sound/Sample24.h"
#include "platform/sound/SoundSource.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numeric>
#include <span>
#include <vector>

/// The samples of one channel, full scale being 1.
inline std::vector<double> SampleValues(std::span<const uint8_t> bytes, const platform::SoundFormat& format,
                                        size_t channel)
{
    std::vector<double> values;
    const auto step = static_cast<size_t>(format.BytesPerFrame());
    for (size_t i = channel * step / static_cast<size_t>(format.channels); i < bytes.size(); i += step) {
        int16_t sample = static_cast<int16_t>((bytes[i] - 128) * 256);
        if (format.sampleSize == 16)
            std::memcpy(&sample, bytes.data() + i, sizeof sample);
        else if (format.sampleSize == 24)
            sample = static_cast<int16_t>(platform::WideSample24(&bytes[i]) >> 16);
        values.push_back(sample / 32768.0);
    }
    return values;
}

inline double PeakOf(std::span<const double> values)
{
    return std::transform_reduce(
        values.begin(), values.end(), 0.0, [](double a, double b) { return std::max(a, b); },
        [](double value) { return std::abs(value); });
}

/// Frequency of a tone, by its rising passages through zero (each placed between two samples).
inline double FrequencyOf(std::span<const double> values, double rate)
{
    std::vector<double> passages;
    for (size_t i = 1; i < values.size(); ++i)
        if (values[i - 1] < 0 && values[i] >= 0)
            passages.push_back(static_cast<double>(i) - values[i] / (values[i] - values[i - 1]));
    if (passages.size() < 2)
        return 0;
    return static_cast<double>(passages.size() - 1) / (passages.back() - passages.front()) * rate;
}
