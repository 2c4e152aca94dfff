#include "platform/dv/AvcTransaction.h"
#include "platform/dv/IsochronousDataHandler.h"
#include "support/SimulatedDeck.h"

#include <gtest/gtest.h>

using namespace platform;
using test::SimulatedBus;
using Manner = test::SimulatedDeck::Manner;

namespace {

constexpr uint64_t kGuid = 0x0080450000001234;
const std::vector<uint8_t> kPlay{0x00, 0x20, 0xC3, 0x75};

TEST(Avc, APlayCommandEndsAsItShouldWithEveryKindOfDeck)
{
    struct Case {
        const char* name;
        Manner manner;
        int resets;
        Result result;
        size_t sent;
        uint8_t response;
    };
    const Case cases[] = {
        {"prompt", Manner::Prompt, 0, noErr, 1, 0x09},
        {"interim, then late", Manner::InterimThenLate, 0, noErr, 1, 0x09},
        {"only interim", Manner::OnlyInterim, 0, noErr, 1, 0x0F},
        {"loses the first", Manner::LosesFirstCommand, 0, noErr, 2, 0x09},
        {"others' answers first", Manner::AnswersOthersFirst, 0, noErr, 1, 0x09},
        {"silent", Manner::Silent, 0, ioErr, 4, 0},
        {"resets of the bus", Manner::Prompt, 2, noErr, 1, 0x09},
        {"resets without end", Manner::Prompt, 99, ioErr, 0, 0},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.name);
        SimulatedBus bus;
        auto& deck = bus.decks[kGuid];
        deck.manner = one.manner;
        bus.resetsToCome = one.resets;
        std::vector<uint8_t> response;
        EXPECT_EQ(DoAvcTransaction(bus, kGuid, kPlay, response), one.result);
        EXPECT_EQ(deck.received.size(), one.sent);
        if (one.result == noErr) {
            EXPECT_EQ(response, (std::vector<uint8_t>{one.response, 0x20, 0xC3, 0x75}));
            EXPECT_EQ(std::pair(deck.transport, deck.operand), std::pair(uint8_t{0xC3}, uint8_t{0x75}));
        }
    }
}

TEST(Avc, BadArgumentsGiveCodes)
{
    const auto bus = std::make_shared<SimulatedBus>();
    bus->decks[kGuid];
    std::vector<uint8_t> response;
    EXPECT_EQ(DoAvcTransaction(*bus, kGuid, std::vector<uint8_t>{0, 0x20}, response), paramErr);
    EXPECT_EQ(DoAvcTransaction(*bus, 99, kPlay, response), ioErr);

    StartIsochronousDataHandler();
    const OwnedBlock parameters(20);
    EXPECT_EQ(DeviceControlDoAVCTransaction(0, parameters.Get()), badComponentInstance);
    const ComponentInstance handler = OpenDefaultComponent(CodeOf("ihlr"), CodeOf("dv  "));
    EXPECT_EQ(CloseComponent(handler), noErr);
    EXPECT_EQ(IDHGetDeviceList(handler, parameters.Get()), badComponentInstance);
}

} // namespace
