// SPDX-License-Identifier: MIT
// A machine with a deck on FireWire, for an unmodified program: instead of the libraries' functions it links a bus that
// runs in real time. The tape has three seconds with a new recording after two; where `VELMORA_ENDLESS_TAPE`
// is set, it plays on for ever already.
#include "support/DvTape.h"
#include "support/SimulatedFireWire.h"

namespace {

class SimulatedMachine {
public:
    SimulatedMachine()
    {
        for (size_t i = 0; i < kFrames; ++i) {
            const auto n = static_cast<int>(i);
            frames.push_back(tape.frames[i % tape.frames.size()]);
            test::WritePacks(frames.back(), platform::TapeTimecode{1, 0, n / 25, n % 25, false},
                             platform::TapeTime{1'084'370'400} + (n < 50 ? 0 : 86'400) + n / 25);
        }
        test::FireWireNode node = test::MakeCamcorder(0x0080450000007777, "Deck");
        const bool isEndless = std::getenv("VELMORA_ENDLESS_TAPE") != nullptr;
        if (isEndless)
            std::tie(node.deck.transport, node.deck.operand) = std::pair(uint8_t{0xC3}, uint8_t{0x75});
        test::MakeDeck(machine.bus.Plug(node), frames, isEndless ? SIZE_MAX : kFrames, true);
        machine.bus.RunInRealTime();
    }

private:
    static constexpr size_t kFrames = 75;

    const test::Tape tape{true, 1};
    std::vector<std::vector<uint8_t>> frames;
    test::FireWireMachine machine;
} simulated;

} // namespace
