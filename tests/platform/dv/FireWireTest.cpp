// SPDX-License-Identifier: MIT
// The FireWire bus on the real libraries above a simulated libraw1394.
#include "platform/clock/MonotonicClock.h"
#include "platform/digitizer/dv/DvFrame.h"
#include "platform/dv/AvcTransaction.h"
#include "platform/dv/DvFrameClock.h"
#include "platform/log/Log.h"
#include "support/DvTape.h"
#include "support/SimulatedFireWire.h"

#include <gtest/gtest.h>

#include <cmath>
#include <csignal>
#include <sys/wait.h>

using namespace platform;
using test::FireWireNode;

namespace {

constexpr uint64_t kGuid = 0x0080450000001234;
constexpr int64_t kSecond = kNanosecondsPerSecond;
constexpr int64_t kPalPeriod = 40'000'000;

struct Recorder : DvStreamSink {
    void DvFrameArrived(std::span<const uint8_t> frame, bool complete, int64_t captureTime) override
    {
        times.push_back(captureTime);
        damaged += complete ? 0 : 1;
        if (keeps)
            frames.emplace_back(frame.begin(), frame.end());
    }
    void DvFramesLost(uint32_t count) override { lost += count; }
    void DvStreamFailed(Result result) override
    {
        const std::lock_guard lock(mutex);
        failures.push_back(result);
    }
    std::vector<Result> Failures()
    {
        const std::lock_guard lock(mutex);
        return failures;
    }

    bool keeps = false;
    std::vector<int64_t> times;
    std::vector<std::vector<uint8_t>> frames;
    uint32_t damaged = 0;
    uint32_t lost = 0;

private:
    std::mutex mutex;
    std::vector<Result> failures;
};

class FireWireTest : public testing::Test, protected test::FireWireMachine {
protected:
    FireWireTest()
    {
        SetMonotonicClock(&test::SimulatedFireWire::Clock);
        testing::internal::CaptureStderr();
    }
    ~FireWireTest() override
    {
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "lines that a library wrote";
        ConfigureLog(nullptr);
        EXPECT_EQ(bus.Handles(), 0U);
        SetMonotonicClock(nullptr);
    }

    static const std::vector<std::vector<uint8_t>>& Frames()
    {
        static const test::Tape tape(true, 0.4);
        return tape.frames;
    }

    FireWireNode& PlugIn()
    {
        FireWireNode node = test::MakeCamcorder(kGuid);
        node.tape = &Frames();
        return bus.Plug(node);
    }
};

// Arrivals late by the batch of packets and by a busy machine, gaps, and a source whose clock is another.
TEST(DvFrameClock, StepsByTheRateAndFollowsOnlyWhatLasts)
{
    const struct {
        const char* name;
        double clockError; // parts per million
        int64_t lateness;  // of frames 1000 to 1005
        int missing;       // frames before number 1000
        bool packetsLost;
        uint32_t lost;
        int64_t error; // in the end
        int64_t largestStep;
    } cases[] = {
        {"steady", 0, 0, 0, false, 0, 2'000'000, kPalPeriod},
        {"busy machine", 0, 200'000'000, 0, false, 0, 2'000'000, kPalPeriod},
        {"fast source", 100, 0, 0, false, 0, 12'000'000, kPalPeriod},
        {"slow source", -100, 0, 0, false, 0, 12'000'000, kPalPeriod + 100'000},
        {"one frame lost", 0, 0, 1, true, 1, 2'000'000, 2 * kPalPeriod},
        {"two frames lost unnoticed", 0, 0, 2, false, 2, 2'000'000, 3 * kPalPeriod},
        {"long gap", 0, 0, 100, true, 100, 4'000'000, 102 * kPalPeriod},
        {"standstill", 0, 0, 100, false, 0, 4'000'000, 102 * kPalPeriod},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.name);
        DvFrameClock clock;
        uint32_t lost = 0;
        int64_t last = 0, largest = 0, sent = 0, time = 0;
        for (int i = 0; i < 30'000; ++i) {
            const int place = i < 1000 ? i : i + one.missing;
            sent = kSecond + static_cast<int64_t>(place * 40e6 * (1 - one.clockError / 1e6));
            const int64_t late = i >= 1000 && i <= 1005 ? one.lateness : 0;
            const int64_t arrival = (sent + kPalPeriod + late + 1'999'999) / 2'000'000 * 2'000'000;
            time = clock.Next(arrival, true, one.packetsLost && i == 1000);
            lost += clock.Lost();
            largest = std::max(largest, i == 0 ? 0 : time - last);
            ASSERT_GT(time, last);
            last = time;
        }
        EXPECT_EQ(lost, one.lost);
        EXPECT_LE(std::abs(time - sent), one.error);
        EXPECT_LE(largest, one.largestStep);
    }
}

// What the plug and the bus's books allow.
TEST_F(FireWireTest, EachPlugIsConnectedAsItAllowsOrRefusedInWords)
{
    struct Case {
        const char* name;
        std::function<void(test::SimulatedFireWire&, FireWireNode&)> prepare;
        Result result;
        const char* reason;
        size_t frames;
    };
    const auto takeAll = [](test::SimulatedFireWire& taken, FireWireNode&) {
        for (int channel = 0; channel < 63; ++channel)
            taken.TakeChannel(channel);
    };
    const Case cases[] = {
        {"free", [](auto&, auto&) {}, noErr, "", 20},
        {"no bandwidth", [](auto& taken, auto&) { taken.TakeBandwidth(4500); }, noErr, "no bandwidth left", 20},
        {"no channel", takeAll, noDeviceForChannel, "no channel left", 0},
        {"refused", [](auto&, FireWireNode& node) { node.refusesConnections = true; }, noDeviceForChannel, "refuses",
         0},
        {"switched off", [](auto&, FireWireNode& node) { node.plug = 0x7A; }, noDeviceForChannel, "switched off", 0},
        {"refused, but broadcasting",
         [](auto&, FireWireNode& node) {
             node.plug = 0xC03F'007A;
             node.refusesConnections = true;
         },
         noErr, "", 20},
        {"no plugs", [](auto&, FireWireNode& node) { node.masterPlug = 0; }, noErr, "", 0},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.name);
        FireWireNode node = test::MakeCamcorder(kGuid);
        node.tape = &Frames();
        one.prepare(bus, node);
        bus.Plug(node);
        one.prepare(bus, node); // the reset emptied the books
        const auto channels = bus.Channels();
        const int bandwidth = bus.Bandwidth();
        Recorder recorder;
        const auto stream = OpenFireWireStream(kGuid);
        EXPECT_EQ(stream->Start(recorder), one.result);
        EXPECT_NE(stream->Reason().find(one.reason), std::string::npos) << stream->Reason();
        EXPECT_EQ(stream->Reason().empty(), std::string(one.reason).empty());
        bus.Advance(kSecond);
        EXPECT_EQ(recorder.times.size() >= one.frames, true);
        EXPECT_EQ(recorder.times.empty(), one.frames == 0);
        stream->Stop();
        EXPECT_EQ(bus.Channels(), channels);
        EXPECT_EQ(bus.Bandwidth(), bandwidth);
        bus.Unplug(kGuid);
    }
}

// Connecting any device resets the bus: frames continue, on another channel if another device has taken the old one.
TEST_F(FireWireTest, FramesGoOnThroughBusResets)
{
    for (const bool localMayBeOpened : {true, false}) {
        bus.localMayBeOpened = localMayBeOpened;
        bus.eventDelay = 250'000'000;
        PlugIn();
        bus.Advance(kSecond);
        Recorder recorder;
        const auto stream = OpenFireWireStream(kGuid);
        ASSERT_EQ(stream->Start(recorder), noErr);
        bus.receiversExpected = 1;
        bus.Advance(kSecond);
        for (int i = 0; i < 2; ++i) {
            bus.Plug(test::MakeDisk(7));
            if (i == 1)
                bus.TakeChannel(0); // another's
            bus.Advance(3 * kSecond);
            EXPECT_EQ(bus.Channels().count(), i == 1 ? 2U : 1U);
            EXPECT_GT(bus.Bandwidth(), 0);
            bus.Unplug(7);
            bus.Advance(3 * kSecond);
        }
        EXPECT_EQ(recorder.Failures(), std::vector<Result>());
        EXPECT_GE(recorder.times.size(), 320U);
        for (const int64_t time : recorder.times)
            ASSERT_EQ((time - recorder.times[0]) % kPalPeriod, 0);
        EXPECT_LE(recorder.lost, 2U) << "a change of channels takes the frame before and the one under way";

        // A tape at a standstill is no failure, a device that left is one.
        bus.Find(kGuid)->tape = nullptr;
        bus.Advance(10 * kSecond);
        bus.Find(kGuid)->sendsPackets = false;
        bus.Advance(10 * kSecond);
        EXPECT_EQ(recorder.Failures(), std::vector<Result>());
        bus.receiversExpected = 0;
        bus.Unplug(kGuid);
        while (recorder.Failures().empty())
            bus.Advance(kSecond / 10);
        stream->Stop();
        EXPECT_EQ(recorder.Failures(), std::vector<Result>{noDeviceForChannel});
        EXPECT_TRUE(bus.HasEmptyBooks());
        EXPECT_EQ(stream->Start(recorder), noDeviceForChannel);
        PlugIn();
        bus.Advance(kSecond);
        EXPECT_EQ(stream->Start(recorder), noErr);
        // Gone for a moment: what was seen in the run before does not count.
        bus.Unplug(kGuid);
        bus.Advance(kSecond / 2);
        PlugIn();
        bus.Advance(kSecond);
        EXPECT_EQ(recorder.Failures().size(), 1U);
        bus.Reset(); // with nothing taken up again before the end
        stream->Stop();
        bus.Unplug(kGuid);
    }
}

// The bus keeps what a killed process held; the next one that connects gives it back.
TEST_F(FireWireTest, AKilledProcessLeavesNothingForGood)
{
    ConfigureLog("digitizer:warning"); // there is nothing to warn of
    PlugIn();
    Recorder recorder;
    const pid_t child = fork();
    if (child == 0) {
        const auto stream = OpenFireWireStream(kGuid);
        stream->Start(recorder);
        bus.Advance(kSecond);
        kill(getpid(), SIGKILL);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(bus.Channels().count(), 1U);
    EXPECT_GT(bus.Bandwidth(), 0);
    const auto stream = OpenFireWireStream(kGuid);
    ASSERT_EQ(stream->Start(recorder), noErr);
    EXPECT_EQ(bus.Channels().count(), 1U);
    // What another one holds at present is left alone.
    const auto beside = OpenFireWireStream(kGuid);
    ASSERT_EQ(beside->Start(recorder), noErr);
    beside->Stop();
    EXPECT_EQ(bus.Channels().count(), 1U);
    stream->Stop();
    EXPECT_TRUE(bus.HasEmptyBooks());
}

TEST_F(FireWireTest, WhatAPacketCarriedIsAllThatGoesWithIt)
{
    FireWireNode& node = PlugIn();
    // The second packet of a sequence brings its first block of sound; frame 8 is lost altogether.
    node.loses = [](uint64_t frame, size_t packet) { return (frame == 4 && packet == 51) || frame == 8; };
    Recorder recorder;
    recorder.keeps = true;
    const auto stream = OpenFireWireStream(kGuid);
    ASSERT_EQ(stream->Start(recorder), noErr);
    bus.Advance(kSecond);
    stream->Stop();
    ASSERT_GE(recorder.frames.size(), 20U);
    EXPECT_EQ(recorder.damaged, 1U);
    EXPECT_EQ(recorder.lost, 1U);
    DvSound sound;
    DvSound whole;
    ASSERT_TRUE(ExtractDvSound(recorder.frames[4], sound));
    ASSERT_TRUE(ExtractDvSound(Frames()[4], whole));
    size_t changed = 0;
    for (size_t i = 0; i < whole.samples.size(); ++i) {
        changed += sound.samples[i] != whole.samples[i] ? 1 : 0;
        EXPECT_NEAR(sound.samples[i], whole.samples[i], 1000) << "a tone of 30,000 from peak to peak";
    }
    EXPECT_GE(changed, 30U);
    EXPECT_LE(changed, 36U);
}

TEST_F(FireWireTest, ListsWhatSendsDvUnderItsName)
{
    const auto label = [](const std::string& text) {
        return [text](FireWireNode& node) { node.rom = test::MakeCamcorder(kGuid, text).rom; };
    };
    // What is listed of it: its name, or null.
    const std::tuple<const char*, std::function<void(FireWireNode&)>, const char*> cases[] = {
        {"tape and plug", [](auto&) {}, "Camcorder"},
        {"converter", [](FireWireNode& node) { node.subunits = {}; }, "Camcorder"},
        {"deck without plugs", [](FireWireNode& node) { node.masterPlug = 0; }, "Camcorder"},
        {"mixer",
         [](FireWireNode& node) {
             node.subunits = {0x08};
             node.plug = 0x8000'0040;
         },
         nullptr},
        {"disk", [](FireWireNode& node) { node = test::MakeDisk(kGuid); }, nullptr},
        {"no label", label(""), "DV camcorder"},
        {"control characters", label(" Deck\n\x01 2 "), "Deck 2"},
        {"Latin-1", label("Cam\xE9ra"), "Caméra"},
        {"UTF-8", label("Caméra 📷"), "Caméra 📷"},
        {"bad leaf", [](FireWireNode& node) { node.rom[13] = 0x81FF'FFFF; }, "DV camcorder"},
        {"endless leaf", [](FireWireNode& node) { node.rom[14] = 0xFFFF'0000; }, "Camcorder"},
        {"directory out of the ROM",
         [](FireWireNode& node) {
             node.rom[5] = 4U << 16;
             node.rom.insert(node.rom.begin() + 9, 0xD1FF'FF00);
             node.rom[8] = 0xD100'0002;
         },
         "Camcorder"},
        {"directory in itself", [](FireWireNode& node) { node.rom[8] = 0xD100'0000; }, "Camcorder"},
        {"closed", [](FireWireNode& node) { node.mayBeOpened = false; }, nullptr},
        {"cut short", [](FireWireNode& node) { node.rom.resize(3); }, nullptr},
    };
    uint64_t guid = kGuid; // another each time, since what is known of one is kept
    for (const auto& [name, prepare, listed] : cases) {
        SCOPED_TRACE(name);
        FireWireNode node = test::MakeCamcorder(kGuid);
        prepare(node);
        node.guid = ++guid;
        if (node.rom.size() > 4)
            node.rom[4] = static_cast<uint32_t>(guid);
        bus.Plug(node);
        const auto devices = OpenFireWireBus()->Devices();
        ASSERT_EQ(devices.size(), listed == nullptr ? 0U : 1U);
        if (listed != nullptr) {
            EXPECT_EQ(std::pair(devices[0].guid, devices[0].name), std::pair(guid, std::string(listed)));
        }
        bus.Unplug(guid);
    }
}

// Meanwhile nothing waits for it.
TEST_F(FireWireTest, ADeckThatStartsUpIsAskedAgain)
{
    constexpr uint64_t guid = kGuid + 1000; // what is known of the others is kept
    FireWireNode node = test::MakeCamcorder(guid);
    node.masterPlug = 0;
    node.silentUntil = bus.Now() + 3 * kSecond;
    bus.Plug(node);
    EXPECT_TRUE(OpenFireWireBus()->Devices().empty());
    bus.Advance(4 * kSecond);
    while (OpenFireWireBus()->Devices().empty())
        bus.Advance(kSecond);
    bus.Find(guid)->silentUntil = INT64_MAX;
    EXPECT_EQ(OpenFireWireBus()->Devices().size(), 1U) << "what is known stays";
}

// A device whose file the user may not open is listed all the same, with what to do about it; the adapter's own file,
// which is closed to most users, is no reason to say anything.
TEST_F(FireWireTest, AClosedDeviceIsListedWithTheReason)
{
    EXPECT_TRUE(OpenFireWireBus()->Devices().empty());
    folder.Add("units/fw1/guid", "0x0080450000001234\n");
    folder.Add("units/fw1/vendor_name", "Maker\n");
    folder.Add("units/fw1/model_name", "Deck\n");
    folder.Add("units/fw1.0/specifier_id", "0x00a02d\n");
    folder.Add("units/fw1.0/version", "0x010001\n");
    FireWireNode node = test::MakeCamcorder(kGuid);
    node.mayBeOpened = false;
    bus.Plug(node);
    auto devices = OpenFireWireBus()->Devices();
    ASSERT_EQ(devices.size(), 1U);
    EXPECT_EQ(devices[0].guid, kGuid);
    EXPECT_EQ(devices[0].name, "Maker Deck");
    EXPECT_NE(devices[0].reason.find((folder.path / "fw1").string()), std::string::npos) << devices[0].reason;
    EXPECT_EQ(OpenFireWireStream(kGuid), nullptr);

    folder.Add("fw1", "");
    bus.Find(kGuid)->mayBeOpened = true;
    devices = OpenFireWireBus()->Devices();
    ASSERT_EQ(devices.size(), 1U);
    EXPECT_EQ(devices[0].reason, "");
    std::filesystem::remove(folder.path / "fw0");
    std::filesystem::remove(folder.path / "fw1");
    EXPECT_EQ(OpenFireWireBus(), nullptr);
}

TEST_F(FireWireTest, CommandsReachTheDeckOnceHoweverItAnswers)
{
    const std::vector<uint8_t> next{0x00, 0x20, 0xC3, 0x30};
    const std::vector<uint8_t> state{0x01, 0x20, 0xD0, 0x7F};
    const std::pair<const char*, void (*)(FireWireNode&)> cases[] = {
        {"late", [](FireWireNode& node) { node.answerDelay = 150'000'000; }},
        {"doubled and late",
         [](FireWireNode& node) {
             node.answerDelay = 30'000'000;
             node.answersTwice = true;
         }},
        {"writes fail", [](FireWireNode& node) { node.writesToFail = 3; }},
        {"writes without acknowledgement", [](FireWireNode& node) { node.losesAcknowledgements = true; }},
    };
    bus.localMayBeOpened = false;
    bus.RunInRealTime();
    const auto machine = OpenFireWireBus();
    std::vector<uint8_t> response;
    for (const auto& [name, prepare] : cases) {
        SCOPED_TRACE(name);
        FireWireNode node = test::MakeCamcorder(kGuid);
        prepare(node);
        auto& plugged = bus.Plug(node);
        EXPECT_EQ(DoAvcTransaction(*machine, kGuid, next, response), noErr);
        bus.Reset();
        EXPECT_EQ(plugged.deck.received.size(), 1U);
        EXPECT_EQ(DoAvcTransaction(*machine, kGuid, state, response), noErr);
        EXPECT_EQ(response, (std::vector<uint8_t>{0x0C, 0x20, 0xC3, 0x30}));
        bus.Unplug(kGuid);
    }
    EXPECT_EQ(DoAvcTransaction(*machine, kGuid, next, response), ioErr);
}

} // namespace
