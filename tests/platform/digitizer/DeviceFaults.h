// SPDX-License-Identifier: MIT
#pragma once

#include "support/Await.h"
#include "support/FrameCollector.h"

#include <gtest/gtest.h>

#include <random>

/// A frame as a device sends it.
struct SentFrame {
    bool isDamaged = false;
    uint32_t number = 0; ///< the device's own count, where the family has one
    int64_t stampAge =
        0; ///< nanoseconds by which the device's stamp is behind the present, where the family has stamps
};

/// A camera of one family, in the test's hand.
class TestedDevice {
public:
    virtual ~TestedDevice() = default;
    virtual void Plug(bool in) = 0;
    /// Sends a frame as soon as the device delivers; false when that takes too long.
    virtual bool Send(const SentFrame& frame) = 0;
    /// Runs on while a sent frame has not arrived, where that needs more than the frame. False: nothing more will come.
    virtual bool RunOn() { return false; }
    /// Whether the device has been stopped, or is soon.
    virtual bool IsIdle() = 0;
    /// Steps of the test that starts, stops and plugs at random: fewer where each takes long.
    virtual int RandomSteps() const { return 300; }
};

using MakeTestedDevice = std::unique_ptr<TestedDevice> (*)();
template <typename Device> std::unique_ptr<TestedDevice> MakeDevice()
{
    auto device = std::make_unique<Device>();
    device->Plug(true);
    return device;
}

/// Sends a frame; from a device that must run on for it, until it has arrived, whole or damaged.
inline bool SendTo(const FrameCollector& frames, TestedDevice& device, const SentFrame& frame)
{
    const size_t before = frames.Arrived();
    return device.Send(frame) && Await([&] { return frames.Arrived() > before || !device.RunOn(); });
}

/// What devices of every family do with bad input, in one table: a program instantiates it for its families.
class DeviceFaults : public testing::TestWithParam<std::pair<const char*, MakeTestedDevice>> {
protected:
    void SetUp() override { ASSERT_NE(digitizer->Identity(), "test-pattern"); }

    bool Send(bool isDamaged) { return SendTo(frames, *device, {.isDamaged = isDamaged, .number = ++number}); }

    std::unique_ptr<TestedDevice> device = GetParam().second();
    std::unique_ptr<platform::Digitizer> digitizer = platform::OpenDigitizer();
    FrameCollector frames;
    uint32_t number = 0;
};

TEST_P(DeviceFaults, DamagedFramesAreKeptOutAndCounted)
{
    using namespace platform;
    ASSERT_EQ(digitizer->Start(frames), noErr);
    // More damaged ones than a device has buffers.
    constexpr size_t kDamaged = 20;
    ASSERT_TRUE(Send(false));
    for (size_t i = 0; i < kDamaged; ++i)
        ASSERT_TRUE(Send(true));
    ASSERT_TRUE(Send(false));
    ASSERT_TRUE(frames.WaitFor(2));
    EXPECT_TRUE(frames.WaitForDamaged(kDamaged));
    digitizer->Stop();
    const auto seen = frames.Seen();
    EXPECT_EQ(seen.size(), 2U);
    EXPECT_EQ(seen[1].sequence - seen[0].sequence, kDamaged + 1);
    EXPECT_TRUE(device->IsIdle());
}

// Stamps that stand still, jump in both directions or lie in the future, and a count that wraps.
TEST_P(DeviceFaults, TimesAscendAndFramesAreCountedWhateverTheDeviceSays)
{
    using namespace platform;
    ASSERT_EQ(digitizer->Start(frames), noErr);
    const int64_t stampAges[] = {
        0, 0, kNanosecondsPerSecond, -3600 * kNanosecondsPerSecond, INT64_MAX / 2, INT64_MIN / 2, 0, 0};
    uint32_t sent = UINT32_MAX - 3;
    size_t count = 0;
    for (const int64_t age : stampAges) {
        ASSERT_TRUE(SendTo(frames, *device, {.number = sent++, .stampAge = age}));
        ASSERT_TRUE(frames.WaitFor(++count));
    }
    digitizer->Stop();
    const auto seen = frames.Seen();
    for (size_t i = 0; i < seen.size(); ++i) {
        EXPECT_LE(seen[i].captureTime, seen[i].arrival) << i;
        EXPECT_GT(seen[i].captureTime, seen[i].arrival - 60 * kNanosecondsPerSecond) << i;
        if (i == 0)
            continue;
        EXPECT_GT(seen[i].captureTime, seen[i - 1].captureTime) << i;
        EXPECT_EQ(seen[i].sequence, seen[i - 1].sequence + 1) << i;
    }
}

TEST_P(DeviceFaults, AnOutageIsReportedOnceAndEndsByItself)
{
    using namespace platform;
    ASSERT_EQ(digitizer->Start(frames), noErr);
    for (size_t round = 1; round <= 2; ++round) {
        ASSERT_TRUE(Send(false));
        ASSERT_TRUE(frames.WaitFor(2 * round - 1));
        device->Plug(false);
        ASSERT_TRUE(frames.WaitForFailure(round));
        EXPECT_FALSE(digitizer->Reason().empty());
        device->Plug(true);
        ASSERT_TRUE(Send(false));
        ASSERT_TRUE(frames.WaitFor(2 * round));
        EXPECT_EQ(digitizer->Reason(), "");
    }
    digitizer->Stop();
    EXPECT_EQ(frames.Failures(), std::vector<Result>(2, noDeviceForChannel));
}

TEST_P(DeviceFaults, ADeviceThatIsAbsentAtTheStartIsTakenUp)
{
    using namespace platform;
    device->Plug(false);
    EXPECT_EQ(digitizer->Start(frames), noDeviceForChannel);
    EXPECT_FALSE(digitizer->Reason().empty());
    device->Plug(true);
    ASSERT_TRUE(Send(false));
    EXPECT_TRUE(frames.WaitFor(1));
    EXPECT_TRUE(frames.Failures().empty()) << "the caller knows";
}

TEST_P(DeviceFaults, StartsStopsAndPlugsInAnyOrderLeaveNothingBehind)
{
    using namespace platform;
    std::minstd_rand random(4711);
    bool isPlugged = true;
    bool runs = false;
    for (int step = 0; step < device->RandomSteps(); ++step)
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
                Send(random() % 3 == 0);
        }
    digitizer->Stop();
    device->Plug(true);
    EXPECT_TRUE(device->IsIdle());
    digitizer->Start(frames);
    const size_t before = frames.Seen().size();
    ASSERT_TRUE(Send(false));
    EXPECT_TRUE(frames.WaitFor(before + 1));
}
