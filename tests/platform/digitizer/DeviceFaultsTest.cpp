// SPDX-License-Identifier: MIT
// The table of bad input over the families whose devices can be simulated in memory.
#include "DeviceFaults.h"
#include "SimulatedCamera.h"
#include "platform/digitizer/ReconnectingThread.h"
#include "support/DvTape.h"
#include "support/SimulatedDeck.h"
#include "support/SimulatedIIDCCamera.h"

using namespace platform;

namespace {

/// A device on a machine without cameras of its own.
class SimulatedDevice : public TestedDevice {
protected:
    SimulatedDevice() { V4L2System::SetCurrent(cameras); }
    ~SimulatedDevice() override { V4L2System::SetCurrent(nullptr); }

    std::shared_ptr<SimulatedCameras> cameras = std::make_shared<SimulatedCameras>();
};

class V4L2Tested : public SimulatedDevice {
public:
    // Each time in another place.
    void Plug(bool in) override
    {
        cameras->Unplug(node);
        if (!in)
            return;
        auto camera = SimulatedCamera::Simple();
        camera.node = ++node;
        camera.busInfo += std::to_string(node);
        cameras->Plug(camera);
    }
    bool Send(const SentFrame& frame) override
    {
        return cameras->Emit(node, {.bytes = std::vector<uint8_t>(frame.isDamaged ? 12 : 128, 9),
                                    .sequence = frame.number,
                                    .time = MonotonicNow() - frame.stampAge});
    }
    bool IsIdle() override { return cameras->IsIdle(node); }

private:
    int node = 0;
};

class IIDCTested : public SimulatedDevice {
public:
    IIDCTested()
    {
        SetIIDCBusProvider([this] { return camera; });
    }
    ~IIDCTested() override { SetIIDCBusProvider({}); }
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

class DvTested : public SimulatedDevice, test::DeckMachine {
public:
    void Plug(bool in) override
    {
        bus->isPlugged = in;
        if (DvStreamSink* sink = bus->streaming; sink != nullptr && !in)
            sink->DvStreamFailed(noDeviceForChannel);
    }
    bool Send(const SentFrame& frame) override
    {
        Stream().DvFrameArrived(std::span(tape.frames[0]).first(frame.isDamaged ? 999 : tape.frames[0].size()),
                                !frame.isDamaged, MonotonicNow());
        return true;
    }
    bool IsIdle() override { return bus->streaming == nullptr; }

private:
    test::Tape tape{false, 0.1};
};

INSTANTIATE_TEST_SUITE_P(, DeviceFaults,
                         testing::Values(std::pair("V4L2", &MakeDevice<V4L2Tested>),
                                         std::pair("IIDC", &MakeDevice<IIDCTested>),
                                         std::pair("DV", &MakeDevice<DvTested>)),
                         [](const auto& one) { return one.param.first; });

/// A device whose runs are written in letters: it is absent, fails at once, delivers a frame and fails, or waits.
class ScriptedRun : public DeviceRun {
public:
    explicit ScriptedRun(std::string written) : script(std::move(written)) {}

    Result Begin() override
    {
        present = script[begun];
        begun += begun + 1 < script.size() ? 1 : 0;
        return present == 'a' ? noDeviceForChannel : noErr;
    }
    void End(Result) override {}
    pollfd Waiting() const override { return {-1, 0, 0}; }
    int Poll(std::span<pollfd> descriptors, int milliseconds) override
    {
        isWaiting = present == 'w';
        return isWaiting ? DeviceRun::Poll(descriptors, milliseconds) : 1;
    }
    Taken Take(short, CapturedFrame&) override
    {
        return std::exchange(present, 'f') == 'd' ? Taken::Frame : Taken::Failed;
    }
    Result Failure() const override { return ioErr; }
    int64_t SilenceAllowed(bool) const override { return INT64_MAX / 2; }

    std::atomic<bool> isWaiting = false;

private:
    const std::string script;
    size_t begun = 0;
    char present = 0;
};

// Each outage is reported once, and a start that fails by its result alone.
TEST(ReconnectingThread, ReportsWhatTheCallerDoesNotKnow)
{
    const std::tuple<const char*, Result, size_t> cases[] = {
        {"afw", noDeviceForChannel, 0}, {"ffw", noErr, 1}, {"dfdw", noErr, 2}, {"adfw", noDeviceForChannel, 1}};
    for (const auto& [script, result, reported] : cases) {
        ScriptedRun run(script);
        FrameCollector frames;
        ReconnectingThread thread(run);
        EXPECT_EQ(thread.Start(frames), result) << script;
        EXPECT_TRUE(Await([&] { return run.isWaiting.load(); }));
        thread.Stop();
        EXPECT_EQ(frames.Failures().size(), reported) << script;
    }
}

} // namespace
