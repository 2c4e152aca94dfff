// SPDX-License-Identifier: MIT
#include "TestDevices.h"

#include "platform/clock/MonotonicClock.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <iterator>

namespace grabbertest {
namespace {

std::atomic<int64_t> handClock{0};

} // namespace

void TestCamera::Send(int64_t time, std::vector<uint8_t> bytes)
{
    Send(time, {bytes, format.format, format.width, format.height});
}

void TestCamera::Send(int64_t time, const RawFrame& picture)
{
    if (sink)
        sink->FrameArrived({picture, time, sequence++});
}

void TestMicrophone::Send(int64_t time, int milliseconds, uint64_t lost)
{
    const auto frames = static_cast<size_t>(std::lround(format.sampleRate * milliseconds / 1000));
    const auto first = static_cast<int64_t>(std::llround(static_cast<double>(time) * format.sampleRate / kSecond));
    std::vector<int16_t> samples;
    for (size_t frame = 0; frame < frames; ++frame)
        for (int channel = 0; channel < format.channels; ++channel)
            samples.push_back(static_cast<int16_t>(first + static_cast<int64_t>(frame)));
    const std::span bytes(reinterpret_cast<const uint8_t*>(samples.data()), samples.size() * 2);
    if (sink)
        sink->SoundArrived({bytes, format, time, lost});
}

TestDevices::TestDevices()
{
    cameraList = {{"Camera", "id of Camera", {}, true}};
    microphoneList = {{"Microphone", "id of Microphone", {}, true}};
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

TestDevices::~TestDevices()
{
    SetDigitizerProvider({});
    SetSoundSourceProvider({});
    SetMonotonicClock(nullptr);
}

void TestDevices::SetTime(int64_t now)
{
    handClock = now;
}

int64_t TestDevices::Time()
{
    return handClock;
}

std::vector<uint8_t> FrameOf(const std::vector<uint8_t>& scan)
{
    constexpr uint8_t kHead[] = {0xFF, 0xD8, 0xFF, 0xDA, 0, 2};
    constexpr uint8_t kEnd[] = {0xFF, 0xD9};
    std::vector<uint8_t> frame(std::size(kHead) + scan.size() + std::size(kEnd));
    auto place = std::ranges::copy(kHead, frame.begin()).out;
    place = std::ranges::copy(scan, place).out;
    std::ranges::copy(kEnd, place);
    return frame;
}

} // namespace grabbertest
