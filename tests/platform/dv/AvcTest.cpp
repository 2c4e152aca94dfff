// SPDX-License-Identifier: MIT
#include "platform/dv/AvcTransaction.h"
#include "support/SimulatedDeck.h"

#include <gtest/gtest.h>

using namespace platform;
using test::SimulatedBus;
using Manner = test::SimulatedDeck::Manner;

namespace {

constexpr uint64_t kGuid = 0x0080450000001234;
const std::vector<uint8_t> kPlay{0x00, 0x20, 0xC3, 0x75};
const std::vector<uint8_t> kState{0x01, 0x20, 0xD0, 0x7F};

TEST(Avc, ACommandEndsAsItShouldWithEveryKindOfDeck)
{
    struct Case {
        const char* name;
        Manner manner;
        int resets;
        std::vector<uint8_t> command;
        Result result;
        size_t sent;
        std::vector<uint8_t> response;
    };
    const std::vector<uint8_t> accepted{0x09, 0x20, 0xC3, 0x75};
    const std::vector<uint8_t> stopped{0x0C, 0x20, 0xC4, 0x60};
    const Case cases[] = {
        {"prompt", Manner::Prompt, 0, kPlay, noErr, 1, accepted},
        {"interim, then late", Manner::InterimThenLate, 0, kPlay, noErr, 1, accepted},
        {"only interim", Manner::OnlyInterim, 0, kPlay, noErr, 1, {0x0F, 0x20, 0xC3, 0x75}},
        {"others' answers first", Manner::AnswersOthersFirst, 0, kPlay, noErr, 1, accepted},
        {"others' answers to an inquiry first", Manner::AnswersOthersFirst, 0, kState, noErr, 1, stopped},
        // What may have been carried out is not asked for again.
        {"loses a command", Manner::LosesFirstCommand, 0, kPlay, ioErr, 1, {}},
        {"loses an inquiry", Manner::LosesFirstCommand, 0, kState, noErr, 2, stopped},
        {"resets of the bus", Manner::Prompt, 2, kPlay, noErr, 1, accepted},
        {"resets without end", Manner::Prompt, 99, kPlay, ioErr, 0, {}},
        {"too short a command", Manner::Prompt, 0, {0x00, 0x20}, paramErr, 0, {}},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.name);
        SimulatedBus bus;
        auto& deck = bus.decks[kGuid];
        deck.manner = one.manner;
        bus.resetsToCome = one.resets;
        std::vector<uint8_t> response;
        EXPECT_EQ(DoAvcTransaction(bus, kGuid, one.command, response), one.result);
        EXPECT_EQ(deck.received.size(), one.sent);
        EXPECT_EQ(response, one.response);
    }
}

} // namespace
