// SPDX-License-Identifier: MIT
// A tape on a simulated deck, from rewinding to its end, over the real FireWire libraries.
#include "tape/TapeRecorder.h"
#include "platform/clock/MonotonicClock.h"
#include "support/DvTape.h"
#include "support/SimulatedFireWire.h"

#include <gtest/gtest.h>

using namespace velmora;
using namespace platform;

namespace {

constexpr uint64_t kGuid = 0x0080450000009999;

class TapeRecorderTest : public testing::Test, protected test::FireWireMachine {
protected:
    TapeRecorderTest()
    {
        SetMonotonicClock(&test::SimulatedFireWire::Clock);
        bus.Plug(test::MakeCamcorder(kGuid, "Deck"));
    }
    ~TapeRecorderTest() override
    {
        EXPECT_TRUE(bus.HasEmptyBooks());
        SetMonotonicClock(nullptr);
    }

    void Run(TapeRecorder& recorder)
    {
        while (recorder.Step() != TapeRecorder::State::Done) {
            bus.receiversExpected = bus.Receivers();
            bus.Advance(20'000'000);
        }
        bus.receiversExpected = 0;
    }

    TapeOutputs Outputs() const
    {
        return {.movieName = [this](int, TapeTime) { return folder / "tape.mov"; },
                .dvFile = folder / "tape.dv",
                .replace = true};
    }

    const test::Tape tape{true, 0.4};
};

TEST_F(TapeRecorderTest, ADeckIsWorkedFromItsStartToTheEndOfTheTape)
{
    for (const bool stopsByItself : {true, false}) {
        TapeRecorder recorder(OpenFireWireBus(), {kGuid, "Deck"}, {.rewind = true, .play = true, .signalSeconds = 3},
                              Outputs());
        test::MakeDeck(*bus.Find(kGuid), tape.frames, 60, stopsByItself);
        bus.Find(kGuid)->deck.received.clear();
        Run(recorder);
        EXPECT_EQ(recorder.Ended(), TapeRecorder::Outcome::Recorded) << recorder.Reason();
        ASSERT_EQ(recorder.Writer().Files().size(), 1U) << recorder.Reason();
        const TapeFileReport& file = recorder.Writer().Files()[0];
        EXPECT_EQ(file.lost + file.incomplete, 0);
        EXPECT_GE(file.length, 58) << "the receiver finds its place in the first frame";
        EXPECT_EQ(test::ReadFile(folder / "tape.dv").size(), static_cast<size_t>(file.length) * 144'000);
        std::string commands;
        for (const auto& command : bus.Find(kGuid)->deck.received)
            commands += command[0] != 0 ? "" : command[3] == 0x65 ? "rewind " : command[3] == 0x75 ? "play " : "stop ";
        EXPECT_EQ(commands, stopsByItself ? "rewind play " : "rewind play stop ") << recorder.Reason();
    }
}

TEST_F(TapeRecorderTest, EachWayInWhichNothingCanBeRecordedIsSaid)
{
    const struct {
        std::function<void(test::FireWireNode&)> prepare;
        TapeRecorder::Outcome outcome;
        const char* reason;
    } cases[] = {
        {[](auto&) {}, TapeRecorder::Outcome::NoPicture, "the tape is blank"},
        {[](auto& node) { node.deck.manner = test::SimulatedDeck::Manner::Silent; }, TapeRecorder::Outcome::NoDeck,
         "does not play"},
        {[](auto& node) { node.refusesConnections = true; }, TapeRecorder::Outcome::NoDeck, "refuses the connection"},
    };
    for (const auto& one : cases) {
        one.prepare(*bus.Find(kGuid));
        TapeRecorder recorder(OpenFireWireBus(), {kGuid, "Deck"}, {.play = true, .signalSeconds = 2}, Outputs());
        Run(recorder);
        EXPECT_EQ(recorder.Ended(), one.outcome);
        EXPECT_NE(recorder.Reason().find(one.reason), std::string::npos) << recorder.Reason();
    }
}

} // namespace
