#include "platform/atoms/AtomContainers.h"
#include "platform/dv/AvcTransaction.h"
#include "platform/dv/IsochronousDataHandler.h"
#include "support/SimulatedDeck.h"

#include <gtest/gtest.h>

using namespace platform;
using test::SimulatedBus;
using Manner = test::SimulatedDeck::Manner;

namespace {

constexpr uint64_t kGuid = 0x0080450000001234;

struct Case {
    const char* name;
    Manner manner;
    int resets;
    Result result;
    size_t sent;
    uint8_t response;
};

class AvcManners : public testing::TestWithParam<Case> {};

TEST_P(AvcManners, APlayCommandEndsAsItShould)
{
    const Case& param = GetParam();
    SimulatedBus bus;
    auto& deck = bus.decks[kGuid];
    deck.manner = param.manner;
    bus.resetsToCome = param.resets;
    std::vector<uint8_t> response;
    const std::vector<uint8_t> play{0x00, 0x20, 0xC3, 0x75};
    EXPECT_EQ(DoAvcTransaction(bus, kGuid, play, response), param.result);
    EXPECT_EQ(deck.received.size(), param.sent);
    if (param.result == noErr) {
        ASSERT_EQ(response.size(), 4U);
        EXPECT_EQ(response[0], param.response);
        EXPECT_EQ(deck.transport, 0xC3);
        EXPECT_EQ(deck.operand, 0x75);
    }
}

INSTANTIATE_TEST_SUITE_P(, AvcManners,
                         testing::Values(Case{"Prompt", Manner::Prompt, 0, noErr, 1, 0x09},
                                         Case{"InterimThenLate", Manner::InterimThenLate, 0, noErr, 1, 0x09},
                                         Case{"OnlyInterim", Manner::OnlyInterim, 0, noErr, 1, 0x0F},
                                         Case{"LosesFirst", Manner::LosesFirstCommand, 0, noErr, 2, 0x09},
                                         Case{"OthersFirst", Manner::AnswersOthersFirst, 0, noErr, 1, 0x09},
                                         Case{"Silent", Manner::Silent, 0, ioErr, 4, 0},
                                         Case{"BusReset", Manner::Prompt, 2, noErr, 1, 0x09},
                                         Case{"ResetsWithoutEnd", Manner::Prompt, 99, ioErr, 0, 0}),
                         [](const auto& row) { return row.param.name; });

TEST(Avc, RefusalsAreTheDevicesOwnAnswer)
{
    SimulatedBus bus;
    bus.decks[kGuid].protectTab = true;
    std::vector<uint8_t> response;
    EXPECT_EQ(DoAvcTransaction(bus, kGuid, std::vector<uint8_t>{0, 0x20, 0xC2, 0x75}, response), noErr);
    EXPECT_EQ(response[0], 0x0A);
    EXPECT_EQ(bus.decks[kGuid].transport, 0xC4);
    EXPECT_EQ(DoAvcTransaction(bus, kGuid, std::vector<uint8_t>{1, 0x20, 0xD0, 0x7F}, response), noErr);
    EXPECT_EQ(response, (std::vector<uint8_t>{0x0C, 0x20, 0xC4, 0x60}));
    EXPECT_EQ(DoAvcTransaction(bus, kGuid, std::vector<uint8_t>{0, 0x20, 0x99, 0}, response), noErr);
    EXPECT_EQ(response[0], 0x08);
    EXPECT_EQ(DoAvcTransaction(bus, kGuid, std::vector<uint8_t>{0, 0x20}, response), paramErr);
    EXPECT_EQ(DoAvcTransaction(bus, 99, std::vector<uint8_t>{0, 0x20, 0xC3, 0x75}, response), ioErr);
}

class DataHandlerTest : public testing::Test {
protected:
    static void SetUpTestSuite() { StartIsochronousDataHandler(); }
    void SetUp() override
    {
        SetBusProvider([this] { return bus; });
    }
    void TearDown() override { SetBusProvider({}); }

    ComponentInstance Open() const { return OpenDefaultComponent(CodeOf("ihlr"), CodeOf("dv  ")); }

    std::shared_ptr<SimulatedBus> bus = std::make_shared<SimulatedBus>();
    OwnedBlock out{4};
};

TEST_F(DataHandlerTest, LeadsFromTheListToTheDeck)
{
    bus->decks[1];
    bus->decks[2];
    const ComponentInstance handler = Open();
    ASSERT_EQ(IDHGetDeviceList(handler, out.Get()), noErr);
    const auto container = Peek<AtomContainer>(out.Get());
    EXPECT_EQ(QTCountChildrenOfType(container, 0, CodeOf("devc")), 2);
    const Atom device = QTFindChildByIndex(container, 0, CodeOf("devc"), 2, 0);
    const Atom mode = QTFindChildByIndex(container, QTFindChildByIndex(container, device, CodeOf("isoc"), 1, 0),
                                         CodeOf("mode"), 1, 0);
    const Atom media = QTFindChildByIndex(container, mode, CodeOf("av  "), 1, 0);
    const OwnedBlock type(4);
    ASSERT_EQ(QTCopyAtomDataToPtr(container, media, 1, 4, type.Get(), 0), noErr);
    EXPECT_EQ(Peek<FourCharCode>(type.Get()), kVideoMediaType);

    const OwnedBlock configuration(8);
    Poke(configuration.Get(), container);
    Poke(configuration.Get() + 4, device);
    EXPECT_EQ(IDHSetDeviceConfiguration(handler, configuration.Get()), cannotFindAtomErr);
    Poke(configuration.Get() + 4, mode);
    ASSERT_EQ(IDHSetDeviceConfiguration(handler, configuration.Get()), noErr);
    ASSERT_EQ(IDHGetDeviceControl(handler, out.Get()), noErr);
    const auto control = Peek<int32_t>(out.Get());

    const OwnedBlock command(4);
    const OwnedBlock response(16);
    const OwnedBlock parameters(20);
    Poke<uint32_t>(command.Get(), 0x60C42000); // bytes 00 20 C4 60 on a little-endian machine: stop
    const int32_t fields[] = {command.Get(), 4, response.Get(), 16, 0};
    Poke(parameters.Get(), fields);
    EXPECT_EQ(DeviceControlDoAVCTransaction(control, parameters.Get()), noErr);
    EXPECT_EQ(bus->decks[2].received, (std::vector<std::vector<uint8_t>>{{0x00, 0x20, 0xC4, 0x60}}));
    EXPECT_TRUE(bus->decks[1].received.empty());
    EXPECT_EQ(PointerAt<uint8_t>(response.Get())[0], 0x09);
    EXPECT_EQ(Peek<int32_t>(parameters.Get() + 12), 4);

    Poke<int32_t>(parameters.Get() + 4, 5);
    EXPECT_EQ(DeviceControlDoAVCTransaction(control, parameters.Get()), paramErr);
    bus->decks.clear();
    Poke<int32_t>(parameters.Get() + 4, 4);
    EXPECT_EQ(DeviceControlDoAVCTransaction(control, parameters.Get()), ioErr);
    EXPECT_EQ(CloseComponent(handler), noErr);
    EXPECT_EQ(DeviceControlDoAVCTransaction(control, parameters.Get()), badComponentInstance);
    EXPECT_EQ(IDHGetDeviceList(handler, out.Get()), badComponentInstance);
    QTDisposeAtomContainer(container);
}

TEST_F(DataHandlerTest, AMachineWithoutABusHasAnEmptyList)
{
    SetBusProvider([] { return nullptr; });
    const ComponentInstance handler = Open();
    ASSERT_GT(handler, 0);
    ASSERT_EQ(IDHGetDeviceList(handler, out.Get()), noErr);
    EXPECT_EQ(QTCountChildrenOfType(Peek<AtomContainer>(out.Get()), 0, CodeOf("devc")), 0);
    EXPECT_EQ(IDHGetDeviceControl(handler, out.Get()), noErr);
    EXPECT_EQ(Peek<int32_t>(out.Get()), 0);
    EXPECT_EQ(DeviceControlDoAVCTransaction(0, out.Get()), badComponentInstance);
    CloseComponent(handler);
}

} // namespace
