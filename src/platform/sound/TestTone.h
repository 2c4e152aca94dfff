// SPDX-License-Identifier: MIT
#pragma once

#include "platform/sound/SoundSource.h"

#include <condition_variable>
#include <mutex>
#include <thread>

namespace platform {

/// Renders the test tone into `bytes`, which holds whole sample frames of that format: at each whole second of the
/// monotonic clock a beep of 1 kHz, 100 ms long, at -12 dB of full scale. `startFrame` is the number of sample frames
/// since the clock's zero at the format's rate.
void RenderTestTone(int64_t startFrame, const SoundFormat& format, std::span<uint8_t> bytes);

/// The time in nanoseconds of a sample frame, counted from the clock's zero.
int64_t TimeOfFrame(int64_t frame, double sampleRate);
/// The first sample frame at or after a time in nanoseconds.
int64_t FrameAtOrAfter(int64_t time, double sampleRate);

/// The built-in source: beeps at the same time as the test pattern flashes white.
class TestTone : public SoundSource {
public:
    ~TestTone() override { Stop(); }

    std::string Name() const override { return "Test Tone"; }
    std::string Identity() const override { return kIdentity; }
    SoundFormat Format() const override { return format; }
    Result SetFormat(const SoundFormat& format) override;
    Result Start(SoundSink& sink) override;
    void Stop() override;

    static constexpr const char* kIdentity = "test-tone";

private:
    void Run(SoundSink& sink);
    bool WaitUntil(int64_t time);

    SoundFormat format; ///< only changes while the thread does not run
    SoundSink* running = nullptr;

    std::mutex mutex;
    std::condition_variable ended;
    bool ending = false;
    std::thread thread;
};

} // namespace platform
