// SPDX-License-Identifier: MIT
// What devices of every family do, in one table: one camera of each family, and what happens to it.
#include "SimulatedCamera.h"
#include "platform/digitizer/Digitizer.h"
#include "support/DvTape.h"
#include "support/FrameCollector.h"
#include "support/SimulatedDeck.h"
#include "support/SimulatedIIDCCamera.h"

#include <gtest/gtest.h>

#include <random>

using namespace platform;

namespace {

/// A camera of one family, in the test's hand.
class TestedDevice {
public:
    virtual ~TestedDevice() = default;
    virtual void Plug(bool in) = 0;
    /// Sends a frame as soon as the device delivers; false after ten seconds.
    virtual bool Send(bool damaged) = 0;
    virtual bool IsIdle() = 0;
};

class V4L2Tested : public TestedDevice {
public:
    V4L2Tested() { V4L2System::SetCurrent(cameras); }
    ~V4L2Tested() override { V4L2System::SetCurrent(nullptr); }
    void Plug(bool in) override { in ? cameras->Plug(SimulatedCamera::Simple()) : cameras->Unplug(0); }
    bool Send(bool damaged) override
    {
        return cameras->Emit(0, {std::vector<uint8_t>(damaged ? 12 : 128, 9), ++sequence});
    }
    bool IsIdle() override { return cameras->IsIdle(0); }

private:
    std::shared_ptr<SimulatedCameras> cameras = std::make_shared<SimulatedCameras>();
    uint32_t sequence = 0;
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
    bool Send(bool damaged) override
    {
        return camera->Emit({std::vector<uint8_t>(640 * 480 * 2, 9), ++sequence, damaged});
    }
    bool IsIdle() override
    {
        const std::lock_guard lock(camera->mutex);
        return !camera->transmitting;
    }

private:
    std::shared_ptr<test::SimulatedIIDCCamera> camera = std::make_shared<test::SimulatedIIDCCamera>();
    uint32_t sequence = 0;
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
    bool Send(bool damaged) override
    {
        const int64_t end = MonotonicNow() + 10 * kNanosecondsPerSecond;
        while (bus->streaming == nullptr && MonotonicNow() < end)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        DvStreamSink* sink = bus->streaming;
        if (sink != nullptr)
            sink->DvFrameArrived(damaged ? std::span(tape.frames[0]).first(999) : std::span(tape.frames[0]), !damaged,
                                 MonotonicNow());
        return sink != nullptr;
    }
    bool IsIdle() override { return bus->streaming == nullptr; }

private:
    test::Tape tape{false, 0.1};
    std::shared_ptr<test::SimulatedBus> bus = std::make_shared<test::SimulatedBus>();
};

using Make = std::unique_ptr<TestedDevice> (*)();
template <typename Device> std::unique_ptr<TestedDevice> MakeDevice()
{
    auto device = std::make_unique<Device>();
    device->Plug(true);
    return device;
}

class DeviceFaults : public testing::TestWithParam<std::pair<const char*, Make>> {
protected:
    void SetUp() override { ASSERT_NE(digitizer->Identity(), "test-pattern"); }

    std::unique_ptr<TestedDevice> device = GetParam().second();
    std::unique_ptr<Digitizer> digitizer = OpenDigitizer();
    FrameCollector frames;
};

INSTANTIATE_TEST_SUITE_P(, DeviceFaults,
                         testing::Values(std::pair("V4L2", &MakeDevice<V4L2Tested>),
                                         std::pair("IIDC", &MakeDevice<IIDCTested>),
                                         std::pair("DV", &MakeDevice<DvTested>)),
                         [](const auto& one) { return one.param.first; });

TEST_P(DeviceFaults, DamagedFramesAreKeptOutAndCounted)
{
    ASSERT_EQ(digitizer->Start(frames), noErr);
    for (const bool damaged : {false, true, true, false})
        ASSERT_TRUE(device->Send(damaged));
    ASSERT_TRUE(frames.WaitFor(2));
    EXPECT_TRUE(frames.WaitForDamaged(2));
    digitizer->Stop();
    const auto seen = frames.Seen();
    EXPECT_EQ(seen.size(), 2U);
    EXPECT_EQ(seen[1].sequence - seen[0].sequence, 3U);
    EXPECT_TRUE(device->IsIdle());
}

TEST_P(DeviceFaults, AnOutageIsReportedOnceAndEndsByItself)
{
    ASSERT_EQ(digitizer->Start(frames), noErr);
    for (size_t round = 1; round <= 2; ++round) {
        ASSERT_TRUE(device->Send(false));
        ASSERT_TRUE(frames.WaitFor(2 * round - 1));
        device->Plug(false);
        ASSERT_TRUE(frames.WaitForFailure(round));
        EXPECT_FALSE(digitizer->Reason().empty());
        device->Plug(true);
        ASSERT_TRUE(device->Send(false));
        ASSERT_TRUE(frames.WaitFor(2 * round));
        EXPECT_EQ(digitizer->Reason(), "");
    }
    digitizer->Stop();
    EXPECT_EQ(frames.Failures(), std::vector<Result>(2, noDeviceForChannel));
}

TEST_P(DeviceFaults, ADeviceThatIsAbsentAtTheStartIsTakenUp)
{
    device->Plug(false);
    EXPECT_EQ(digitizer->Start(frames), noDeviceForChannel);
    EXPECT_FALSE(digitizer->Reason().empty());
    device->Plug(true);
    ASSERT_TRUE(device->Send(false));
    EXPECT_TRUE(frames.WaitFor(1));
    EXPECT_TRUE(frames.Failures().empty()) << "the caller knows";
}

TEST_P(DeviceFaults, StartsStopsAndPlugsInAnyOrderLeaveNothingBehind)
{
    std::minstd_rand random(4711);
    bool isPlugged = true;
    bool runs = false;
    for (int step = 0; step < 300; ++step)
        switch (random() % 6) {
        case 0:
            runs = digitizer->Start(frames) == noErr;
            break;
        case 1:
            digitizer->Stop();
            runs = false;
            break;
        case 2:
            device->Plug(isPlugged = random() % 4 != 0);
            runs = false;
            break;
        case 3:
            digitizer->SetFormat(digitizer->Format());
            digitizer->SetControls({{1, 1}, {2, 2}});
            break;
        default:
            if (runs && isPlugged)
                device->Send(random() % 3 == 0);
        }
    digitizer->Stop();
    device->Plug(true);
    EXPECT_TRUE(device->IsIdle());
    ASSERT_EQ(digitizer->Start(frames), noErr);
    const size_t before = frames.Seen().size();
    ASSERT_TRUE(device->Send(false));
    EXPECT_TRUE(frames.WaitFor(before + 1));
}

} // namespace
