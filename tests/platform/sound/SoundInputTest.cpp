#include "platform/sound/SoundInput.h"

#include "platform/components/FunctionTable.h"
#include "platform/memory/FixedPoint.h"
#include "platform/sound/SoundWatcher.h"
#include "platform/sound/TestTone.h"

#include <cstring>
#include <gtest/gtest.h>
#include <poll.h>

using namespace platform;

namespace {

class ScriptedSource : public TestTone {
public:
    std::string Name() const override { return "Scripted"; }
    std::string Identity() const override { return "scripted"; }
    std::vector<std::string> Inputs() const override { return {"Line", "Microphone", "Mikrofon \xC3\xBC"}; }
    int Input() const override { return input; }
    Result SelectInput(int index) override
    {
        input = index;
        return noErr;
    }
    Result GetGain(double& value) const override
    {
        value = gain;
        return noErr;
    }
    Result SetGain(double value) override
    {
        gain = value;
        return noErr;
    }

    int input = 0;
    double gain = 1;
};

CapturedSound Sound(const std::vector<uint8_t>& bytes, int32_t channels, int32_t sampleSize)
{
    return {.bytes = bytes, .format = {48000, channels, sampleSize}};
}

std::vector<uint8_t> Stereo16(int16_t left, int16_t right)
{
    std::vector<uint8_t> bytes(40);
    const int16_t loud[] = {left, right};
    std::memcpy(bytes.data() + 20, loud, sizeof loud);
    return bytes;
}

using Levels = std::pair<uint8_t, uint8_t>;

TEST(LevelMeter, MeasuresThePeakOfEachChannel)
{
    struct Case {
        std::vector<uint8_t> bytes;
        int32_t channels, sampleSize;
        Levels levels;
    };
    const Case cases[] = {
        {Stereo16(16384, -8192), 2, 16, {128, 64}},
        {Stereo16(32767, -32768), 2, 16, {255, 255}},
        {Stereo16(16384, 0), 2, 16, {128, 0}},
        {Stereo16(0, -16384), 1, 16, {128, 128}},
        {{128, 128, 192, 64, 128, 0}, 2, 8, {128, 255}},
        {{128, 96}, 1, 8, {64, 64}},
        {{}, 2, 16, {0, 0}},
        {{1, 2, 3}, 2, 16, {4, 0}}, // half a frame
    };
    for (const Case& each : cases) {
        LevelMeter meter;
        meter.Feed(Sound(each.bytes, each.channels, each.sampleSize));
        EXPECT_EQ(meter.Levels(), Levels(0, 0)) << "while off";
        meter.Switch(2);
        meter.Feed(Sound(each.bytes, each.channels, each.sampleSize));
        EXPECT_EQ(meter.Levels(), each.levels);
    }
}

TEST(LevelMeter, HoldsThePeakUntilItIsRead)
{
    LevelMeter meter;
    meter.Switch(2);
    EXPECT_EQ(meter.State(), 2);
    meter.Feed(Sound(Stereo16(16384, 0), 2, 16));
    meter.Feed(Sound(Stereo16(0, 8192), 2, 16));
    EXPECT_EQ(meter.Levels(), Levels(128, 64));
    EXPECT_EQ(meter.Levels(), Levels(128, 64)) << "the other side, read by a second call";
    meter.Feed(Sound(Stereo16(4096, 0), 2, 16));
    EXPECT_EQ(meter.Levels(), Levels(32, 0));
    meter.Switch(0);
    EXPECT_EQ(meter.Levels(), Levels(0, 0));
    meter.Switch(1);
    EXPECT_EQ(meter.Levels(), Levels(0, 0)) << "nothing old after a new start";
}

class SoundInput : public testing::Test {
protected:
    std::shared_ptr<ScriptedSource> source = std::make_shared<ScriptedSource>();
    std::shared_ptr<LevelMeter> meter = std::make_shared<LevelMeter>();
    int32_t driver = RegisterSoundDriver(source, meter);
    OwnedBlock block{4};

    ~SoundInput() override { UnregisterSoundDriver(driver); }
};

TEST_F(SoundInput, ReadsAndWritesProperties)
{
    struct Case {
        const char* selector;
        int32_t value; // as 16 bits but for the gain
        Result result;
        int32_t reads;
    };
    const Case cases[] = {
        {"sour", 3, noErr, 3},
        {"sour", 0, paramErr, 3},
        {"sour", 4, paramErr, 3},
        {"sour", -1, paramErr, 3},
        {"gain", X2Fix(0.5), noErr, X2Fix(0.5)},
        {"gain", 0, noErr, 0},
        {"gain", X2Fix(4.0), noErr, X2Fix(4.0)},
        {"gain", X2Fix(4.0) + 1, paramErr, X2Fix(4.0)},
        {"gain", -1, paramErr, X2Fix(4.0)},
        {"gain", X2Fix(1e9), paramErr, X2Fix(4.0)},
        {"lmet", 2, noErr, 2},
        {"lmet", -1, paramErr, 2},
        {"lmet", 0, noErr, 0},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(testing::Message() << each.selector << " " << each.value);
        const FourCharCode selector = CodeOf(each.selector);
        const bool wide = selector == CodeOf("gain");
        Poke(block.Get(), wide ? each.value : each.value & 0xFFFF);
        EXPECT_EQ(SPBSetDeviceInfo(driver, selector, block.Get()), each.result);
        Poke(block.Get(), 0);
        EXPECT_EQ(SPBGetDeviceInfo(driver, selector, block.Get()), noErr);
        EXPECT_EQ(wide ? Peek<int32_t>(block.Get()) : Peek<int16_t>(block.Get()), each.reads);
    }
}

TEST_F(SoundInput, TellsTheMetersLevels)
{
    meter->Switch(2);
    meter->Feed(Sound(Stereo16(32767, 8192), 2, 16));
    EXPECT_EQ(SPBGetDeviceInfo(driver, CodeOf("lmac"), block.Get()), noErr);
    EXPECT_EQ(Peek<uint8_t>(block.Get() + 2), 255);
    EXPECT_EQ(Peek<uint8_t>(block.Get() + 3), 64);
    EXPECT_EQ(SPBSetDeviceInfo(driver, CodeOf("lmac"), block.Get()), siUnknownInfoType);
}

TEST_F(SoundInput, RefusesDeadDriversBadSelectorsAndBadAddresses)
{
    const OwnedBlock tooSmall(1);
    for (const char* selector : {"sour", "gain", "lmet", "lmac", "none"}) {
        const FourCharCode code = CodeOf(selector);
        const bool known = code != CodeOf("none");
        const bool writable = known && code != CodeOf("lmac");
        for (const int32_t dead : {0, -1, driver + 1}) {
            EXPECT_EQ(SPBGetDeviceInfo(dead, code, block.Get()), siBadRefNum);
            EXPECT_EQ(SPBSetDeviceInfo(dead, code, block.Get()), siBadRefNum);
        }
        for (const Address address : {0, -4, tooSmall.Get()}) {
            EXPECT_EQ(SPBGetDeviceInfo(driver, code, address), known ? paramErr : siUnknownInfoType) << selector;
            EXPECT_EQ(SPBSetDeviceInfo(driver, code, address), writable ? paramErr : siUnknownInfoType) << selector;
        }
    }
    UnregisterSoundDriver(driver);
    EXPECT_EQ(SPBGetDeviceInfo(driver, CodeOf("gain"), block.Get()), siBadRefNum);
    EXPECT_EQ(source.use_count(), 1);
}

TEST_F(SoundInput, ASourceWithoutInputsOrGainSaysSo)
{
    const int32_t tone = RegisterSoundDriver(std::make_shared<TestTone>(), meter);
    Poke(block.Get(), X2Fix(1.0));
    for (const char* selector : {"sour", "gain"}) {
        EXPECT_EQ(SPBGetDeviceInfo(tone, CodeOf(selector), block.Get()), siUnknownInfoType);
        EXPECT_EQ(SPBSetDeviceInfo(tone, CodeOf(selector), block.Get()), siUnknownInfoType);
    }
    UnregisterSoundDriver(tone);
}

TEST_F(SoundInput, IsFoundByName)
{
    StartSoundInput();
    const auto code = FindFunction("/System/Library/Frameworks/Carbon.framework/Carbon", "SPBSetDeviceInfo");
    ASSERT_NE(code, nullptr);
    Poke(block.Get(), X2Fix(0.25));
    const auto set = reinterpret_cast<decltype(&SPBSetDeviceInfo)>(code);
    EXPECT_EQ(set(driver, CodeOf("gain"), block.Get()), noErr);
    EXPECT_EQ(source->gain, 0.25);
}

TEST(SoundSources, OpensByIdentityThenByNameThenTheFirst)
{
    std::vector<SoundSourceEntry> entries{{"One", "id-1", {}, true}, {"Two", "id-2", {}, true}};
    std::string opened;
    const SoundWatcher watcher;
    SetSoundSourceProvider({.list = [&] { return entries; },
                            .open = [&](const std::string& identity) -> std::unique_ptr<SoundSource> {
                                opened = identity;
                                if (identity == "id-2")
                                    return nullptr;
                                return std::make_unique<ScriptedSource>();
                            }});
    pollfd ready{.fd = watcher.FileDescriptor(), .events = POLLIN, .revents = 0};
    EXPECT_EQ(poll(&ready, 1, 0), 1) << "a new list is told to watchers";

    struct Case {
        const char *identity, *name, *opens, *gives;
    };
    const Case cases[] = {
        {"id-1", "Two", "id-1", "Scripted"},  {"id-2", "", "id-2", "Test Tone"}, {"gone", "Two", "id-2", "Test Tone"},
        {"gone", "gone", "id-1", "Scripted"}, {"", "", "id-1", "Scripted"},
    };
    for (const Case& each : cases) {
        const auto source = OpenSoundSource(each.identity, each.name);
        EXPECT_EQ(opened, each.opens);
        EXPECT_EQ(source->Name(), each.gives) << "one that can't be opened is stood in for";
    }
    entries.clear();
    EXPECT_EQ(OpenSoundSource("id-1")->Name(), "Test Tone");
    SetSoundSourceProvider({});
}

} // namespace
