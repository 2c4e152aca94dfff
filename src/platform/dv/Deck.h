// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dv/Bus.h"
#include "platform/dv/DeckCommands.h"
#include "platform/dv/DvPacks.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace platform {

/// The state of a transport, named by the operation that the deck reports.
struct DeckState {
    uint8_t opcode = 0;
    uint8_t operand = 0;

    /// Whether the tape is stopped.
    bool IsStopped() const { return opcode == kDeckStop.opcode && operand == kDeckStop.operand; }
    /// Whether the tape is winding.
    bool IsWinding() const { return opcode == kDeckStop.opcode && !IsStopped(); }
    /// Whether the tape is playing at normal speed.
    bool IsPlaying() const { return opcode == kDeckPlay.opcode && operand == kDeckPlay.operand; }
    bool IsWithoutTape() const { return opcode == 0xC1; } ///< loading, or no tape

    /// The name of the operation or state: "without a tape", "playing", "winding".
    std::string Name() const;
};

/// The transport of one device. Each call waits for the response, for half a second at most.
class Deck {
public:
    /// The deck of the device with that GUID.
    Deck(std::shared_ptr<Bus> deckBus, uint64_t deviceGuid) : bus(std::move(deckBus)), guid(deviceGuid) {}

    /// Returns `noErr` if the deck accepts the operation or is carrying it out, `paramErr` if it rejects or lacks it,
    /// as a camera without a tape does, `ioErr` if it does not respond.
    Result Do(const DeckOperation& operation);

    /// Nothing if the deck does not respond.
    std::optional<DeckState> State();

    /// The timecode at the head; nothing if there is no tape or no timecode.
    std::optional<TapeTimecode> Timecode();

private:
    std::shared_ptr<Bus> bus;
    uint64_t guid;
};

} // namespace platform
