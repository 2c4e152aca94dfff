#include "platform/digitizer/VideoDigitizer.h"
#include "platform/compression/ImageDescription.h"
#include "platform/memory/Handles.h"

#include <gtest/gtest.h>
#include <map>

using namespace platform;

namespace {

// A device with brightness, which it keeps in steps of 256, and nothing else.
class Lamp : public Digitizer {
public:
    std::string Name() const override { return "Lamp"; }
    std::string Identity() const override { return "lamp"; }
    std::vector<CaptureFormat> Formats() const override { return {Format()}; }
    CaptureFormat Format() const override { return {CodeOf("jpeg"), 720, 576, 25}; }
    Result SetFormat(const CaptureFormat&) override { return noErr; }
    Result Start(FrameSink&) override { return noErr; }
    void Stop() override {}
    Result GetAnalog(AnalogControl control, uint16_t& read) const override
    {
        read = value;
        return control == AnalogControl::Brightness ? noErr : digiUnimpErr;
    }
    Result SetAnalog(AnalogControl control, uint16_t wish) override
    {
        if (control != AnalogControl::Brightness)
            return digiUnimpErr;
        value = static_cast<uint16_t>(wish / 256 * 256);
        return noErr;
    }
    uint16_t value = 0;
};

class VideoDigitizer : public testing::Test {
protected:
    std::shared_ptr<Lamp> lamp = std::make_shared<Lamp>();
    ComponentInstance instance = OpenDigitizerInstance(lamp);
    OwnedBlock value{4};
};

TEST_F(VideoDigitizer, DescribesWhatTheDeviceDelivers)
{
    const Handle handle = NewHandle(0);
    ASSERT_EQ(VDGetImageDescription(instance, handle), noErr);
    ImageDescription description;
    ASSERT_TRUE(ReadImageDescription(HandleBytes(handle), description));
    EXPECT_EQ(description.codec, CodeOf("jpeg"));
    EXPECT_EQ(description.width, 720);
    EXPECT_EQ(description.height, 576);
    EXPECT_EQ(VDGetImageDescription(instance, 12345), nilHandleErr);
    DisposeHandle(handle);
}

TEST_F(VideoDigitizer, AWriteLeavesWhatTheDeviceTook)
{
    Poke<uint16_t>(value.Get(), 40000);
    ASSERT_EQ(VDSetBrightness(instance, value.Get()), noErr);
    EXPECT_EQ(lamp->value, 39936);
    EXPECT_EQ(Peek<uint16_t>(value.Get()), 39936);
    lamp->value = 1234;
    ASSERT_EQ(VDGetBrightness(instance, value.Get()), noErr);
    EXPECT_EQ(Peek<uint16_t>(value.Get()), 1234);
}

TEST_F(VideoDigitizer, EachCallAnswersItsOwnFailures)
{
    const std::pair<Result (*)(ComponentInstance, Address), Result> calls[] = {
        {VDGetBrightness, noErr},
        {VDSetBrightness, noErr},
        {VDGetHue, digiUnimpErr},
        {VDSetHue, digiUnimpErr},
        {VDGetContrast, digiUnimpErr},
        {VDSetContrast, digiUnimpErr},
        {VDGetSaturation, digiUnimpErr},
        {VDSetSaturation, digiUnimpErr},
        {VDGetSharpness, digiUnimpErr},
        {VDSetSharpness, digiUnimpErr},
        {VDGetWhiteLevelValue, digiUnimpErr},
        {VDSetWhiteLevelValue, digiUnimpErr},
    };
    for (const auto& [call, result] : calls) {
        EXPECT_EQ(call(instance, value.Get()), result);
        EXPECT_EQ(call(0, value.Get()), badComponentInstance);
        EXPECT_EQ(call(instance + 1000, value.Get()), badComponentInstance);
        EXPECT_EQ(call(instance, 0), paramErr);
    }
    EXPECT_EQ(CloseComponent(instance), noErr);
    EXPECT_EQ(VDGetBrightness(instance, value.Get()), badComponentInstance);
}

TEST_F(VideoDigitizer, TellsItsComponent)
{
    OwnedBlock description(20);
    ASSERT_EQ(GetComponentInfo(instance, description.Get(), 0, 0, 0), noErr);
    EXPECT_EQ(Peek<FourCharCode>(description.Get()), CodeOf("vdig"));
}

} // namespace
