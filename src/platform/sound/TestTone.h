// SPDX-License-Identifier: MIT
#pragma once

#include "platform/sound/SoundSource.h"

#include <condition_variable>
#include <mutex>
#include <thread>

namespace platform {

/// Writes the test tone into `bytes`, which holds whole sample frames of that format: a beep of 1 kHz, 100 ms and
/// -12 dB of full scale that begins at each whole second of the monotonic clock, silence between. `startFrame` counts
/// sample frames from the clock's zero at the format's rate.
void RenderTestTone(int64_t startFrame, const SoundFormat& format, std::span<uint8_t> bytes);

/// The instant of a sample frame counted from the clock's zero, in nanoseconds; and the first frame not before an
/// instant.
int64_t TimeOfFrame(int64_t frame, double sampleRate);
int64_t FrameAtOrAfter(int64_t time, double sampleRate);

/// The built-in source: a beep in the same instant as the test pattern's white flash.
class TestTone : public SoundSource {
public:
    ~TestTone() override { Stop(); }

    std::string Name() const override { return "Test Tone"; }
    std::string Identity() const override { return kIdentity; }
    SoundFormat Format() const override;
    Result SetFormat(const SoundFormat& format) override;
    Result Start(SoundSink& sink) override;
    void Stop() override;

    static constexpr const char* kIdentity = "test-tone";

private:
    void Run(SoundSink& sink);
    bool WaitUntil(int64_t time);

    mutable std::mutex mutex;
    std::condition_variable ended;
    SoundFormat format;
    bool ending = false;
    std::thread thread;
};

} // namespace platform
