// SPDX-License-Identifier: MIT
// The table of bad input over the families whose devices can be simulated in memory.
#include "DeviceFaults.h"
#include "SimulatedCamera.h"
#include "support/DvTape.h"
#include "support/SimulatedDeck.h"
#include "support/SimulatedIIDCCamera.h"

#include <thread>

using namespace platform;

namespace {

class V4L2Tested : public TestedDevice {
public:
    V4L2Tested() { V4L2System::SetCurrent(cameras); }
    ~V4L2Tested() override { V4L2System::SetCurrent(nullptr); }
    void Plug(bool in) override { in ? cameras->Plug(SimulatedCamera::Simple()) : cameras->Unplug(0); }
    bool Send(const SentFrame& frame) override
    {
        return cameras->Emit(0, {.bytes = std::vector<uint8_t>(frame.isDamaged ? 12 : 128, 9),
                                 .sequence = frame.number,
                                 .time = MonotonicNow() - frame.stampAge});
    }
    bool IsIdle() override { return cameras->IsIdle(0); }

private:
    std::shared_ptr<SimulatedCameras> cameras = std::make_shared<SimulatedCameras>();
};

class IIDCTested : public TestedDevice {
public:
    IIDCTested()
    {
        V4L2System::SetCurrent(std::make_shared<SimulatedCameras>()); // none of the machine's own
        SetIIDCBusProvider([this] { return camera; });
        camera->Plug(false);
    }
    ~IIDCTested() override
    {
        SetIIDCBusProvider({});
        V4L2System::SetCurrent(nullptr);
    }
    void Plug(bool in) override { camera->Plug(in); }
    bool Send(const SentFrame& frame) override
    {
        return camera->Emit({.bytes = std::vector<uint8_t>(640 * 480 * 2, 9),
                             .sequence = frame.number,
                             .damaged = frame.isDamaged,
                             .captureTime = MonotonicNow() - frame.stampAge});
    }
    bool IsIdle() override
    {
        const std::lock_guard lock(camera->mutex);
        return !camera->transmitting;
    }

private:
    std::shared_ptr<test::SimulatedIIDCCamera> camera = std::make_shared<test::SimulatedIIDCCamera>();
};

class DvTested : public TestedDevice {
public:
    DvTested()
    {
        V4L2System::SetCurrent(std::make_shared<SimulatedCameras>());
        bus->decks[7];
        SetBusProvider([this] { return bus; });
    }
    ~DvTested() override
    {
        SetBusProvider({});
        V4L2System::SetCurrent(nullptr);
    }
    void Plug(bool in) override
    {
        bus->isPlugged = in;
        if (DvStreamSink* sink = bus->streaming; sink != nullptr && !in)
            sink->DvStreamFailed(noDeviceForChannel);
    }
    bool Send(const SentFrame& frame) override
    {
        const int64_t end = MonotonicNow() + 10 * kNanosecondsPerSecond;
        while (bus->streaming == nullptr && MonotonicNow() < end)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        DvStreamSink* sink = bus->streaming;
        if (sink != nullptr)
            sink->DvFrameArrived(std::span(tape.frames[0]).first(frame.isDamaged ? 999 : tape.frames[0].size()),
                                 !frame.isDamaged, MonotonicNow());
        return sink != nullptr;
    }
    bool IsIdle() override { return bus->streaming == nullptr; }

private:
    test::Tape tape{false, 0.1};
    std::shared_ptr<test::SimulatedBus> bus = std::make_shared<test::SimulatedBus>();
};

INSTANTIATE_TEST_SUITE_P(, DeviceFaults,
                         testing::Values(std::pair("V4L2", &MakeDevice<V4L2Tested>),
                                         std::pair("IIDC", &MakeDevice<IIDCTested>),
                                         std::pair("DV", &MakeDevice<DvTested>)),
                         [](const auto& one) { return one.param.first; });

} // namespace
