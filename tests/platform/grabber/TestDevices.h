// SPDX-License-Identifier: MIT
#pragma once

#include "platform/clock/MonotonicClock.h"
#include "platform/digitizer/Digitizer.h"
#include "platform/sound/SoundSource.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <map>

namespace grabbertest {

using namespace platform;

inline constexpr int64_t kMillisecond = 1'000'000;
inline constexpr int64_t kSecond = 1000 * kMillisecond;

/// Takes a value over, which always succeeds.
template <typename T> Result Assign(T& target, const T& value)
{
    target = value;
    return noErr;
}

/// Lets a test find a device at `place` while the device lives.
template <typename Device> class Findable {
public:
    Findable(Device& device, Device*& place) : device(device), place(place) { place = &device; }
    ~Findable() { place = place == &device ? nullptr : place; }

private:
    Device& device;
    Device*& place;
};

/// A camera whose frames the test sends.
class TestCamera : public Digitizer {
public:
    TestCamera(std::string name, TestCamera*& place) : name(std::move(name)), place(*this, place) {}

    std::string Name() const override { return name; }
    std::string Identity() const override { return "id of " + name; }
    std::vector<std::string> Inputs() const override { return inputs; }
    int Input() const override { return input; }
    Result SelectInput(int wanted) override { return Assign(input, wanted); }
    std::vector<CaptureFormat> Formats() const override { return formats; }
    CaptureFormat Format() const override { return format; }
    Result SetFormat(const CaptureFormat& wanted) override
    {
        starts += sink != nullptr ? 1 : 0;
        format = wanted;
        return noErr;
    }
    std::vector<ImageControl> Controls() const override { return controls; }
    Result SetControl(uint32_t identity, int64_t value) override
    {
        for (ImageControl& control : controls)
            if (control.identity == identity && controlResult == noErr)
                control.value = value;
        return controlResult;
    }
    Result Start(FrameSink& to) override
    {
        ++starts;
        if (startResult == noErr || startResult == noDeviceForChannel)
            sink = &to;
        return startResult;
    }
    void Stop() override { sink = nullptr; }
    Result GetAnalog(AnalogControl control, uint16_t& value) const override
    {
        return Assign(value, analog.at(control));
    }
    Result SetAnalog(AnalogControl control, uint16_t value) override { return Assign(analog[control], value); }

    /// Sends a frame of JPEG bytes (or of another format and size) captured at `time`.
    void Send(int64_t time, std::vector<uint8_t> bytes)
    {
        Send(time, {bytes, format.format, format.width, format.height});
    }
    void Send(int64_t time, const RawFrame& picture)
    {
        if (sink)
            sink->FrameArrived({picture, time, sequence++});
    }
    void Fail(Result result) { sink->CaptureFailed(result); }

    std::string name;
    std::vector<std::string> inputs;
    int input = 0;
    std::vector<CaptureFormat> formats{{CodeOf("jpeg"), 64, 48, 30},
                                       {CodeOf("jpeg"), 64, 48, 60},
                                       {CodeOf("jpeg"), 32, 24, 30},
                                       {CodeOf("yuvs"), 320, 240, 29.97}};
    CaptureFormat format{CodeOf("jpeg"), 64, 48, 30};
    std::map<AnalogControl, uint16_t> analog{{AnalogControl::Brightness, 1}, {AnalogControl::Hue, 2},
                                             {AnalogControl::Contrast, 3},   {AnalogControl::Saturation, 4},
                                             {AnalogControl::Sharpness, 5},  {AnalogControl::WhiteLevel, 6}};
    std::vector<ImageControl> controls;
    Result controlResult = noErr; ///< of setting one
    Result startResult = noErr;
    uint32_t sequence = 0;
    int starts = 0;
    FrameSink* sink = nullptr;

private:
    const Findable<TestCamera> place;
};

/// A microphone whose sound the test sends.
class TestMicrophone : public SoundSource {
public:
    TestMicrophone(std::string name, TestMicrophone*& place) : name(std::move(name)), place(*this, place) {}

    std::string Name() const override { return name; }
    std::string Identity() const override { return "id of " + name; }
    Result GetGain(double& value) const override { return Assign(value, gain); }
    Result SetGain(double value) override { return Assign(gain, value); }
    Result GetMuted(bool& value) const override { return Assign(value, muted); }
    Result SetMuted(bool value) override { return Assign(muted, value); }
    SoundFormat Format() const override { return format; }
    Result SetFormat(const SoundFormat& wanted) override { return Assign(format, wanted); }
    Result Start(SoundSink& to) override
    {
        ++starts;
        sink = &to;
        return noErr;
    }
    void Stop() override { sink = nullptr; }

    /// Sends so many milliseconds of 16-bit sound captured from `time` on; each sample frame holds the low bits of
    /// its own place on the clock, in frames.
    void Send(int64_t time, int milliseconds, uint64_t lost = 0)
    {
        const auto frames = std::lround(format.sampleRate * milliseconds / 1000);
        const auto first = std::llround(static_cast<double>(time) * format.sampleRate / kSecond);
        std::vector<int16_t> samples;
        for (long i = 0; i < frames * format.channels; ++i)
            samples.push_back(static_cast<int16_t>(first + i / format.channels));
        const std::span bytes(reinterpret_cast<const uint8_t*>(samples.data()), samples.size() * 2);
        if (sink)
            sink->SoundArrived({bytes, format, time, lost});
    }

    std::string name;
    SoundFormat format{48000, 2, 16};
    double gain = 1;
    bool muted = false;
    int starts = 0;
    SoundSink* sink = nullptr;

private:
    const Findable<TestMicrophone> place;
};

/// Offers devices of the test's own making instead of the machine's, and holds the clock, while it lives.
class TestDevices {
public:
    TestDevices()
    {
        SetTime(kSecond);
        SetMonotonicClock(&Time);
        SetDigitizerProvider({[this] { return cameraList; },
                              [this](const std::string& identity) {
                                  const std::string name = identity.substr(6);
                                  return std::make_unique<TestCamera>(name, cameras[name]);
                              }});
        SetSoundSourceProvider({[this] { return microphoneList; },
                                [this](const std::string& identity) {
                                    const std::string name = identity.substr(6);
                                    return std::make_unique<TestMicrophone>(name, microphones[name]);
                                }});
    }
    ~TestDevices()
    {
        SetDigitizerProvider({});
        SetSoundSourceProvider({});
        SetMonotonicClock(nullptr);
    }

    /// The device of that name that was opened last; null when there is none.
    TestCamera* Camera(const std::string& name = "Camera") { return cameras[name]; }
    TestMicrophone* Microphone(const std::string& name = "Microphone") { return microphones[name]; }

    static void SetTime(int64_t now) { clock = now; }
    static int64_t Time() { return clock; }

    std::vector<DigitizerEntry> cameraList{{"Camera", "id of Camera", {}, true}};
    std::vector<SoundSourceEntry> microphoneList{{"Microphone", "id of Microphone", {}, true}};

private:
    static inline std::atomic<int64_t> clock{0};
    std::map<std::string, TestCamera*> cameras;
    std::map<std::string, TestMicrophone*> microphones;
};

/// A frame with the markers of a whole JPEG image around some bytes of no meaning; the first one stands at place 6.
inline std::vector<uint8_t> FrameOf(const std::vector<uint8_t>& scan)
{
    std::vector<uint8_t> frame(6 + scan.size() + 2);
    std::ranges::copy(std::array<uint8_t, 6>{0xFF, 0xD8, 0xFF, 0xDA, 0, 2}, frame.begin());
    std::ranges::copy(scan, frame.begin() + 6);
    std::ranges::copy(std::array<uint8_t, 2>{0xFF, 0xD9}, frame.end() - 2);
    return frame;
}

inline const std::vector<uint8_t> kFrame = FrameOf({1, 2, 3});

} // namespace grabbertest
