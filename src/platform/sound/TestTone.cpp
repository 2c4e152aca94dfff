// SPDX-License-Identifier: MIT
// The built-in sound source.
//
// Frame n has the time n / rate on the monotonic clock, and the tone is a function of that time. So the time stamps are
// exact, and the beep starts exactly at the frame of the whole second, however late the thread wakes up.
//
// The thread renders 10 ms of sound after they have passed, and sleeps until absolute times in between. The mutex
// guards the request to end. A change of format restarts the thread, so that no buffer in the old format follows it.
#include "platform/sound/TestTone.h"

#include "platform/clock/MonotonicClock.h"
#include "platform/sound/Sample24.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>

namespace platform {
namespace {

constexpr double kFrequency = 1000;
constexpr double kBeepSeconds = 0.1;
constexpr double kRampSeconds = 0.001;
constexpr double kBufferSeconds = 0.01;
// A thread that was delayed for longer skips what it missed.
constexpr int64_t kMaxDelay = kNanosecondsPerSecond;

// The tone `seconds` after a whole second; 1.0 is full scale. It starts at a zero of the sine and reaches its full
// level within a millisecond, so that the onset is sharp but does not click.
double ToneAt(double seconds)
{
    if (seconds >= kBeepSeconds)
        return 0;
    static const double amplitude = std::pow(10.0, -12.0 / 20.0);
    const double ramp = std::min({1.0, seconds / kRampSeconds, (kBeepSeconds - seconds) / kRampSeconds});
    return amplitude * ramp * std::sin(2 * std::numbers::pi * kFrequency * seconds);
}

void PutSample(uint8_t* bytes, int32_t sampleSize, double value)
{
    if (sampleSize == 8) {
        *bytes = static_cast<uint8_t>(std::clamp<long>(std::lround(value * 128) + 128, 0, 255));
        return;
    }
    if (sampleSize == 24) {
        const long sample = std::clamp<long>(std::lround(value * 8388608), -8388608, 8388607);
        return PutWideSample24(bytes, static_cast<int32_t>(sample * 256));
    }
    const auto sample = static_cast<int16_t>(std::clamp<long>(std::lround(value * 32768), -32768, 32767));
    std::memcpy(bytes, &sample, sizeof sample);
}

} // namespace

int64_t TimeOfFrame(int64_t frame, double sampleRate)
{
    // A long double is exact to the nanosecond for centuries.
    return std::llround(static_cast<long double>(frame) / sampleRate * kNanosecondsPerSecond);
}

int64_t FrameAtOrAfter(int64_t time, double sampleRate)
{
    auto frame = static_cast<int64_t>(static_cast<long double>(time) / kNanosecondsPerSecond * sampleRate);
    while (TimeOfFrame(frame, sampleRate) < time)
        ++frame;
    return frame;
}

void RenderTestTone(int64_t startFrame, const SoundFormat& format, std::span<uint8_t> bytes)
{
    const auto frameBytes = static_cast<size_t>(format.BytesPerFrame());
    const auto sampleBytes = static_cast<size_t>(format.sampleSize / 8);
    const auto frames = static_cast<int64_t>(bytes.size() / frameBytes);
    uint8_t* sample = bytes.data();
    for (int64_t frame = startFrame; frame < startFrame + frames; ++frame) {
        const long double time = static_cast<long double>(frame) / format.sampleRate;
        const double value = ToneAt(static_cast<double>(time - std::floor(time)));
        for (int32_t channel = 0; channel < format.channels; ++channel, sample += sampleBytes)
            PutSample(sample, format.sampleSize, value);
    }
}

Result TestTone::SetFormat(const SoundFormat& wanted)
{
    if (const Result result = CheckFormat(wanted); result != noErr)
        return result;
    if (wanted == format)
        return noErr;
    SoundSink* const sink = running;
    Stop();
    format = wanted;
    return sink != nullptr ? Start(*sink) : noErr;
}

Result TestTone::Start(SoundSink& sink)
{
    Stop();
    ending = false;
    running = &sink;
    thread = std::thread([this, &sink] { Run(sink); });
    return noErr;
}

void TestTone::Stop()
{
    if (!thread.joinable())
        return;
    {
        const std::lock_guard lock(mutex);
        ending = true;
    }
    ended.notify_one();
    thread.join();
    running = nullptr;
}

bool TestTone::WaitUntil(int64_t time)
{
    std::unique_lock lock(mutex);
    return !ended.wait_until(lock, SteadyTime(time), [this] { return ending; });
}

void TestTone::Run(SoundSink& sink)
{
    const double rate = format.sampleRate;
    const auto frames = std::llround(rate * kBufferSeconds);
    std::vector<uint8_t> buffer(static_cast<size_t>(frames * format.BytesPerFrame()));
    CapturedSound sound{.bytes = buffer, .format = format};
    int64_t frame = FrameAtOrAfter(MonotonicNow(), rate);
    for (;;) {
        const int64_t end = TimeOfFrame(frame + frames, rate);
        if (!WaitUntil(end))
            return;
        sound.framesLost = 0;
        if (MonotonicNow() - end > kMaxDelay) {
            const int64_t next = FrameAtOrAfter(MonotonicNow(), rate) - frames;
            sound.framesLost = static_cast<uint64_t>(next - frame);
            frame = next;
        }
        RenderTestTone(frame, format, buffer);
        sound.captureTime = TimeOfFrame(frame, rate);
        sink.SoundArrived(sound);
        frame += frames;
    }
}

} // namespace platform
