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

/// What a transport is doing, by the operation that it answers with.
struct DeckState {
    uint8_t opcode = 0;
    uint8_t operand = 0;

    /// Whether the tape is stopped.
    bool IsStopped() const { return opcode == kDeckStop.opcode && operand == kDeckStop.operand; }
    /// Whether the tape winds.
    bool IsWinding() const { return opcode == kDeckStop.opcode && !IsStopped(); }
    /// Whether the tape plays at normal speed.
    bool IsPlaying() const { return opcode == kDeckPlay.opcode && operand == kDeckPlay.operand; }
    bool IsWithoutTape() const { return opcode == 0xC1; } ///< loading, or empty

    /// The operation's name, or what else the deck is doing: "without a tape", "playing", "winding".
    std::string Name() const;
};

/// The transport of one device. Each call waits for the answer, for at most about half a second.
class Deck {
public:
    /// The deck of the device with that GUID on the bus.
    Deck(std::shared_ptr<Bus> deckBus, uint64_t deviceGuid) : bus(std::move(deckBus)), guid(deviceGuid) {}

    /// `noErr` when the deck has accepted the operation or is at work on it; `paramErr` when it refuses it or has no
    /// such operation, as a camera without a tape; `ioErr` when it does not answer.
    Result Do(const DeckOperation& operation);

    /// Nothing where the deck does not answer.
    std::optional<DeckState> State();

    /// The place of the tape under the head; nothing where there is none, or the tape has no timecode.
    std::optional<TapeTimecode> Timecode();

private:
    std::shared_ptr<Bus> bus;
    uint64_t guid;
};

} // namespace platform
