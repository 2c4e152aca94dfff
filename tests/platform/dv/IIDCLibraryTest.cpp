// SPDX-License-Identifier: MIT
// IIDC cameras on the real libdc1394 above simulated registers.
#include "SimulatedIIDCUnit.h"
#include "platform/digitizer/iidc/IIDCBus.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace platform;
using test::SimulatedIIDCUnit;

namespace {

class IIDCLibraryTest : public testing::Test, protected test::FireWireMachine {
protected:
    IIDCLibraryTest()
    {
        folder.Add("fw1", "");
        folder.Add("units/fw1/guid", "0x0814436100003da7\n");
        folder.Add("units/fw1/model_name", "Camera\n");
        folder.Add("units/fw1.0/specifier_id", "0x00a02d\n");
        folder.Add("units/fw1.0/version", "0x000102\n");
        testing::internal::CaptureStderr();
    }
    ~IIDCLibraryTest() override
    {
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "lines that a library wrote";
    }

    static size_t OpenDescriptors()
    {
        const std::filesystem::directory_iterator open("/proc/self/fd");
        return static_cast<size_t>(std::distance(begin(open), end(open)));
    }

    SimulatedIIDCUnit unit{bus};
    const IIDCMode fixed{DC1394_VIDEO_MODE_640x480_YUV422, IIDCCoding::Yuv422, 640, 480, {30}};
};

TEST_F(IIDCLibraryTest, NothingIsAskedForACamcorderAndAClosedCameraSaysWhy)
{
    folder.Add("units/fw1.0/version", "0x010001\n");
    EXPECT_EQ(OpenIIDCLibraryBus(), nullptr);
    folder.Add("units/fw1.0/version", "0x000102\n");
    const auto cameras = OpenIIDCLibraryBus();
    ASSERT_NE(cameras, nullptr);
    ASSERT_EQ(cameras->Cameras().size(), 1U);
    EXPECT_EQ(cameras->Cameras()[0].vendor + " " + cameras->Cameras()[0].model, "Maker Camera");
    EXPECT_EQ(cameras->Cameras()[0].reason, "");
    std::filesystem::remove(folder.path / "fw1");
    bus.Find(SimulatedIIDCUnit::kGuid)->mayBeOpened = false;
    const auto closed = OpenIIDCLibraryBus()->Cameras();
    ASSERT_EQ(closed.size(), 1U);
    EXPECT_EQ(closed[0].guid, SimulatedIIDCUnit::kGuid);
    EXPECT_NE(closed[0].reason.find("fw1"), std::string::npos);
}

TEST_F(IIDCLibraryTest, ModesHaveTheRatesOfTheirOwnPackets)
{
    const auto camera = OpenIIDCLibraryBus()->Open(SimulatedIIDCUnit::kGuid);
    std::string modes;
    for (const IIDCMode& mode : camera->Modes()) {
        modes += std::to_string(mode.width) + ":" + std::to_string(static_cast<int>(mode.coding));
        for (const double rate : mode.frameRates)
            modes += "@" + std::to_string(static_cast<int>(std::lround(rate * 100)));
        modes += " ";
    }
    // 8000 packets of 2048 and 4096 bytes for 1024x768 in one and in three bytes a pixel.
    EXPECT_EQ(modes, "640:3@1500@3000 1024:0@2083 1024:5@1389 ");
}

TEST_F(IIDCLibraryTest, FeaturesKeepTheirUnits)
{
    const auto camera = OpenIIDCLibraryBus()->Open(SimulatedIIDCUnit::kGuid);
    IIDCFeatureState state;
    ASSERT_EQ(camera->ReadFeature(IIDCFeature::Temperature, state), noErr);
    EXPECT_EQ(state.value, 500U);
    EXPECT_EQ(std::pair(state.minimum, state.maximum), std::pair(100U, 900U));
    EXPECT_EQ(camera->WriteFeature(IIDCFeature::Temperature, 600), noErr);
    EXPECT_EQ(camera->ReadFeature(IIDCFeature::Temperature, state), noErr);
    EXPECT_EQ(state.value, 600U);

    EXPECT_EQ(camera->WriteFeature(IIDCFeature::Gain, 20), noErr);
    EXPECT_EQ(camera->ReadFeature(IIDCFeature::Gain, state), noErr);
    EXPECT_EQ(state.value, 20U);
    unit.registers[0x820] |= 0x4000'0000; // absolute control
    EXPECT_EQ(camera->SetMode(IIDCFeature::Gain, IIDCFeatureMode::Manual), noErr);
    EXPECT_EQ(camera->WriteFeature(IIDCFeature::Gain, 50), noErr);
    EXPECT_EQ(camera->ReadFeature(IIDCFeature::Gain, state), noErr);
    EXPECT_TRUE(state.absoluteControl);
    EXPECT_EQ(state.absoluteValue, 12);
    EXPECT_EQ(camera->ReadFeature(IIDCFeature::Zoom, state), digiUnimpErr);
}

TEST_F(IIDCLibraryTest, StartsAtTheSpeedThatWorksOrSaysWhyNot)
{
    const auto camera = OpenIIDCLibraryBus()->Open(SimulatedIIDCUnit::kGuid);
    unit.fastestSpeed = DC1394_ISO_SPEED_200;
    EXPECT_EQ(camera->Start(fixed, 30), noErr);
    EXPECT_EQ(camera->Reason(), "");
    EXPECT_EQ(unit.registers[0x614], 0x8000'0000U);
    camera->Stop();
    struct Case {
        dc1394error_t error;
        Result result;
        const char* reason;
    };
    for (const Case& one : {Case{DC1394_NO_BANDWIDTH, noDeviceForChannel, "bandwidth"},
                            {DC1394_NO_ISO_CHANNEL, noDeviceForChannel, "channel"},
                            {DC1394_INVALID_VIDEO_MODE, deviceCantMeetRequest, "size or rate"}}) {
        unit.setupError = one.error;
        EXPECT_EQ(camera->Start(fixed, 30), one.result);
        EXPECT_NE(camera->Reason().find(one.reason), std::string::npos) << camera->Reason();
        EXPECT_EQ(camera->Descriptor(), -1);
    }
    // Left transmitting by a process that was killed, or held by one that runs.
    unit.setupError = DC1394_SUCCESS;
    for (const bool isHeld : {true, false}) {
        unit.registers[0x614] = 0x8000'0000;
        unit.isChannelTaken = isHeld;
        EXPECT_EQ(camera->Start(fixed, 30), isHeld ? noDeviceForChannel : noErr);
        EXPECT_EQ(camera->Reason().find("Another program") == 0, isHeld) << camera->Reason();
        EXPECT_EQ(unit.registers[0x614], 0x8000'0000U) << "transmits as before";
    }
}

TEST_F(IIDCLibraryTest, CountsWhatAFullRingLost)
{
    const auto camera = OpenIIDCLibraryBus()->Open(SimulatedIIDCUnit::kGuid);
    ASSERT_EQ(camera->Start(fixed, 30), noErr);
    const auto now = static_cast<uint64_t>(
        std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::system_clock::now().time_since_epoch())
            .count());
    IIDCFrame frame;
    EXPECT_EQ(camera->TakeFrame(frame), noErr);
    EXPECT_TRUE(frame.bytes.empty());
    uint32_t place = 0; // of a frame at the camera
    const auto take = [&] {
        EXPECT_EQ(camera->TakeFrame(frame), noErr);
        return frame.sequence;
    };
    const auto emit = [&] { return unit.Emit(now - 1'000'000 + place++ * 33'333); };
    emit();
    EXPECT_EQ(take(), 1U);
    place += 2; // a long exposure
    emit();
    EXPECT_EQ(take(), 2U);
    while (emit()) {
    }
    place += 4;
    for (uint32_t i = 3; i < 3 + 7; ++i)
        EXPECT_EQ(take(), i);
    emit();
    EXPECT_EQ(take(), 9U + 1 + 5) << "five were lost while the buffers were full";
}

TEST_F(IIDCLibraryTest, UnpluggingLeavesNothingBehind)
{
    const auto cameras = OpenIIDCLibraryBus();
    const size_t before = OpenDescriptors();
    for (int round = 0; round < 3; ++round) {
        unit.isPlugged = true;
        const auto camera = cameras->Open(SimulatedIIDCUnit::kGuid);
        ASSERT_EQ(camera->Start(fixed, 30), noErr);
        IIDCFrame frame;
        for (int i = 0; i < 10; ++i) {
            unit.Emit(1);
            EXPECT_EQ(camera->TakeFrame(frame), noErr);
        }
        unit.isPlugged = round == 2;
        camera->Stop();
    }
    EXPECT_EQ(unit.framesOut, 0U);
    EXPECT_EQ(OpenDescriptors(), before);
}

} // namespace
