// SPDX-License-Identifier: MIT
#pragma once

#include "platform/clock/MonotonicClock.h"
#include "platform/digitizer/iidc/IIDCBus.h"
#include "platform/files/UniqueFD.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <sys/eventfd.h>

namespace test {

using namespace platform;

/// A simulated IIDC camera, alone on its bus, which can be disconnected and reconnected. Set it up before it is opened.
struct SimulatedIIDCCamera : IIDCBus, IIDCCamera, std::enable_shared_from_this<SimulatedIIDCCamera> {
    struct Frame {
        std::vector<uint8_t> bytes;
        uint32_t sequence = 0;
        bool damaged = false;
        Result result = noErr; ///< of the taking; after a failure the camera is gone
        int64_t captureTime = platform::MonotonicNow();
    };

    std::vector<IIDCMode> modes{{7, IIDCCoding::Yuv422, 640, 480, {15, 30}}};
    std::map<IIDCFeature, IIDCFeatureState> features;
    Result startResult = noErr;
    IIDCMode startedMode;
    double startedRate = 0;

    std::mutex mutex; // guards the following and, while the camera runs, the features
    std::condition_variable changed;
    bool present = true;
    bool transmitting = false;
    int starts = 0;
    std::deque<Frame> waiting;
    Frame taken;
    UniqueFD readable{eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC | EFD_SEMAPHORE)};

    /// Delivers a frame once the camera has started that many times. Returns false after ten seconds.
    bool Emit(Frame frame, int startsBefore = 1)
    {
        std::unique_lock lock(mutex);
        if (!changed.wait_for(lock, std::chrono::seconds(10), [&] { return transmitting && starts >= startsBefore; }))
            return false;
        waiting.push_back(std::move(frame));
        return eventfd_write(readable.Get(), 1) == 0;
    }

    /// Either way it no longer transmits.
    void Plug(bool in)
    {
        const std::lock_guard lock(mutex);
        present = in;
        transmitting = false;
    }

    std::vector<IIDCCameraEntry> Cameras() override
    {
        const std::lock_guard lock(mutex);
        return std::vector<IIDCCameraEntry>(present ? 1 : 0, {0x0814436100003DA7, "Simulated", "Camera"});
    }
    std::shared_ptr<IIDCCamera> Open(uint64_t) override { return Cameras().empty() ? nullptr : shared_from_this(); }

    std::vector<IIDCMode> Modes() override { return modes; }
    int Descriptor() const override { return readable.Get(); }

    Result Start(const IIDCMode& mode, double frameRate) override
    {
        const std::lock_guard lock(mutex);
        startedMode = mode;
        startedRate = frameRate;
        transmitting = present && startResult == noErr;
        ++starts;
        changed.notify_all();
        return present ? startResult : noDeviceForChannel;
    }
    void Stop() override
    {
        const std::lock_guard lock(mutex);
        transmitting = false;
        for (eventfd_t one = 0; !waiting.empty(); waiting.pop_front())
            eventfd_read(readable.Get(), &one);
    }
    Result TakeFrame(IIDCFrame& frame) override
    {
        const std::lock_guard lock(mutex);
        eventfd_t one = 0;
        eventfd_read(readable.Get(), &one);
        taken = std::move(waiting.front());
        waiting.pop_front();
        present = present && taken.result == noErr;
        const auto& [number, coding, width, height, rates] = startedMode;
        frame = {taken.bytes, coding, width, height, 8, {}, taken.captureTime, taken.sequence, taken.damaged};
        return taken.result;
    }
    Result IsTransmitting(bool& isOn) override
    {
        const std::lock_guard lock(mutex);
        isOn = transmitting;
        return present ? noErr : ioErr;
    }

    Result ReadFeature(IIDCFeature feature, IIDCFeatureState& state) override
    {
        return With(feature, [&](const auto& known) { state = known; });
    }
    Result WriteFeature(IIDCFeature feature, uint32_t value) override
    {
        return With(feature, [&](auto& known) { known.value = value; });
    }
    Result SetMode(IIDCFeature feature, IIDCFeatureMode mode) override
    {
        return With(feature, [mode](auto& known) {
            known.isManual = mode == IIDCFeatureMode::Manual;
            known.isOff = mode == IIDCFeatureMode::Off;
            known.absoluteControl = known.absoluteControl && !known.isManual;
        });
    }
    template <typename Use> Result With(IIDCFeature feature, Use use)
    {
        const std::lock_guard lock(mutex);
        const auto found = features.find(feature);
        if (!present || found == features.end())
            return present ? digiUnimpErr : ioErr;
        use(found->second);
        return noErr;
    }
};

} // namespace test
