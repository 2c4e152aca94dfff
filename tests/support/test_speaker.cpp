// SPDX-License-Identifier: MIT
// Plays a beep of 100 ms into the sound server's default sink at each whole second of the monotonic clock: the instants
// at which the test camera flashes. A null sink's monitor then is a microphone in step with that camera.
//
//   test_speaker        until SIGTERM
//
// The time at which a sample will sound is the present plus the stream's reported latency, smoothed over many blocks,
// for a single report is only good to a block or so.
#include <pulse/simple.h>

#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>

namespace {

constexpr int kRate = 48'000;
constexpr int kBlock = 480;
constexpr double kBeepSeconds = 0.1;

double MonotonicSeconds()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

int16_t SampleAt(double seconds)
{
    const double intoSecond = seconds - std::floor(seconds);
    if (intoSecond >= kBeepSeconds)
        return 0;
    return static_cast<int16_t>(8000 * std::sin(2 * M_PI * 1000 * intoSecond));
}

} // namespace

int main()
{
    const pa_sample_spec format{PA_SAMPLE_S16NE, kRate, 1};
    const pa_buffer_attr buffer{UINT32_MAX, 4 * kBlock * sizeof(int16_t), UINT32_MAX, UINT32_MAX, UINT32_MAX};
    pa_simple* stream = pa_simple_new(nullptr, "test_speaker", PA_STREAM_PLAYBACK, nullptr, "beeps", &format, nullptr,
                                      &buffer, nullptr);
    if (stream == nullptr) {
        std::fprintf(stderr, "test_speaker: no sound server\n");
        return 1;
    }
    std::array<int16_t, kBlock> block{};
    double next = 0; // when the next sample will sound
    for (int written = 0;; ++written) {
        const double reported = MonotonicSeconds() + static_cast<double>(pa_simple_get_latency(stream, nullptr)) / 1e6;
        next += (reported - next) * (written < 50 ? 1.0 : 0.01);
        for (int i = 0; i < kBlock; ++i)
            block[static_cast<size_t>(i)] = SampleAt(next + static_cast<double>(i) / kRate);
        if (pa_simple_write(stream, block.data(), sizeof block, nullptr) < 0)
            return 1;
        next += static_cast<double>(kBlock) / kRate;
    }
}
