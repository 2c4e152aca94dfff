#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

/// Finds where beeps begin in the samples of one channel: seconds from the first sample. A beep is what rises above a
/// quarter of the loudest sample after at least 20 ms of near silence (so that a beep cut off at the start is none);
/// its onset is the first sample that is louder than the near silence, which holds up to a fiftieth of the loudest.
inline std::vector<double> FindBeepOnsets(std::span<const int16_t> samples, double rate)
{
    int loudest = 0;
    for (const int16_t sample : samples)
        loudest = std::max(loudest, std::abs(int{sample}));
    std::vector<double> onsets;
    const auto quietNeeded = static_cast<size_t>(0.02 * rate);
    size_t quiet = 0;     // samples of near silence that came last
    size_t candidate = 0; // the first louder one behind enough of them
    bool waiting = false; // for the candidate to become a beep
    for (size_t i = 0; i < samples.size() && loudest > 0; ++i) {
        const int level = std::abs(int{samples[i]});
        if (level * 50 <= loudest) {
            ++quiet;
            continue;
        }
        if (quiet >= quietNeeded) {
            candidate = i;
            waiting = true;
        }
        quiet = 0;
        if (waiting && level * 4 > loudest) {
            onsets.push_back(static_cast<double>(candidate) / rate);
            waiting = false;
        }
    }
    return onsets;
}
