#include "platform/sound/SoundInput.h"

#include "platform/memory/FixedPoint.h"
#include "platform/sound/TestTone.h"

#include <cstring>
#include <gtest/gtest.h>
#include <tuple>

using namespace platform;

namespace {

class ScriptedSource : public TestTone {
public:
    std::vector<std::string> Inputs() const override { return {"Line", "Microphone", "Mikrofon \xC3\xBC"}; }
    int Input() const override { return input; }
    Result SelectInput(int index) override { return input = index, noErr; }
    Result GetGain(double& value) const override { return value = gain, noErr; }
    Result SetGain(double value) override { return gain = value, noErr; }

    int input = 0;
    double gain = 1;
};

std::vector<uint8_t> Stereo16(int16_t left, int16_t right)
{
    std::vector<uint8_t> bytes(40);
    std::memcpy(bytes.data() + 20, &left, 2);
    std::memcpy(bytes.data() + 22, &right, 2);
    return bytes;
}

using Levels = std::pair<uint8_t, uint8_t>;

TEST(LevelMeter, MeasuresThePeakOfEachChannel)
{
    const std::tuple<std::vector<uint8_t>, int32_t, int32_t, Levels> cases[] = {
        {Stereo16(16384, -8192), 2, 16, {128, 64}},
        {Stereo16(32767, -32768), 2, 16, {255, 255}},
        {Stereo16(0, -16384), 1, 16, {128, 128}},
        {{128, 128, 192, 64, 128, 0}, 2, 8, {128, 255}},
        {{128, 96}, 1, 8, {64, 64}},
        {{1, 2, 3}, 2, 16, {4, 0}}, // half a frame
    };
    for (const auto& [bytes, channels, sampleSize, levels] : cases) {
        LevelMeter meter;
        meter.Switch(2);
        meter.Feed({bytes, {48000, channels, sampleSize}, 0, 0});
        EXPECT_EQ(meter.Levels(), levels);
    }
}

TEST(LevelMeter, HoldsThePeakUntilItIsRead)
{
    LevelMeter meter;
    meter.Switch(2);
    meter.Feed({Stereo16(16384, 0), {48000, 2, 16}, 0, 0});
    meter.Feed({Stereo16(0, 8192), {48000, 2, 16}, 0, 0});
    EXPECT_EQ(meter.Levels(), Levels(128, 64));
    EXPECT_EQ(meter.Levels(), Levels(128, 64)) << "the other side, read by a second call";
    meter.Feed({Stereo16(4096, 0), {48000, 2, 16}, 0, 0});
    EXPECT_EQ(meter.Levels(), Levels(32, 0));
}

TEST(SoundInput, ReadsAndWritesPropertiesOfDriversThatLive)
{
    const auto source = std::make_shared<ScriptedSource>();
    const int32_t driver = RegisterSoundDriver(source, std::make_shared<LevelMeter>());
    const OwnedBlock block(4), tooSmall(1);
    // The selector, what is set (as 16 bits but for the gain), the result, and what is read then.
    const std::tuple<const char*, int32_t, Result, int32_t> cases[] = {
        {"sour", 3, noErr, 3},
        {"sour", 4, paramErr, 3},
        {"gain", X2Fix(0.5), noErr, X2Fix(0.5)},
        {"gain", X2Fix(4.0), noErr, X2Fix(4.0)},
        {"gain", X2Fix(4.0) + 1, paramErr, X2Fix(4.0)},
        {"gain", -1, paramErr, X2Fix(4.0)},
        {"lmet", 2, noErr, 2},
    };
    for (const auto& [name, value, result, reads] : cases) {
        SCOPED_TRACE(testing::Message() << name << " " << value);
        const FourCharCode selector = CodeOf(name);
        const bool wide = selector == CodeOf("gain");
        Poke(block.Get(), wide ? value : value & 0xFFFF);
        EXPECT_EQ(SPBSetDeviceInfo(driver, selector, block.Get()), result);
        Poke(block.Get(), 0);
        EXPECT_EQ(SPBGetDeviceInfo(driver, selector, block.Get()), noErr);
        EXPECT_EQ(wide ? Peek<int32_t>(block.Get()) : Peek<int16_t>(block.Get()), reads);
    }
    for (const Address address : {0, -4, tooSmall.Get()}) {
        EXPECT_EQ(SPBGetDeviceInfo(driver, CodeOf("gain"), address), paramErr);
        EXPECT_EQ(SPBSetDeviceInfo(driver, CodeOf("gain"), address), paramErr);
    }
    UnregisterSoundDriver(driver);
    EXPECT_EQ(SPBGetDeviceInfo(driver, CodeOf("gain"), block.Get()), siBadRefNum);
    EXPECT_EQ(source.use_count(), 1);
}

} // namespace
