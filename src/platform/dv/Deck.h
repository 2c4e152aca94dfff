// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dv/Bus.h"
#include "platform/dv/DvPacks.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace platform {

/// Address of the first tape recorder in a device (AV/C subunit type 4, number 0).
inline constexpr uint8_t kTapeSubunit = 0x20;

/// An operation of a tape transport: opcode and operand of its control command (1394 TA, AV/C Tape Recorder/Player
/// Subunit).
struct DeckOperation {
    const char* name;
    uint8_t opcode;
    uint8_t operand;
};

inline constexpr DeckOperation kDeckPlay{"play", 0xC3, 0x75};
inline constexpr DeckOperation kDeckPause{"pause", 0xC3, 0x7D};
inline constexpr DeckOperation kDeckNextFrame{"next-frame", 0xC3, 0x30};
inline constexpr DeckOperation kDeckPreviousFrame{"previous-frame", 0xC3, 0x40};
inline constexpr DeckOperation kDeckSlowForward{"slow-forward", 0xC3, 0x35};
inline constexpr DeckOperation kDeckSlowReverse{"slow-reverse", 0xC3, 0x45};
inline constexpr DeckOperation kDeckFastForwardPlay{"fast-forward-play", 0xC3, 0x3E};
inline constexpr DeckOperation kDeckRewindPlay{"rewind-play", 0xC3, 0x4E};
inline constexpr DeckOperation kDeckFastForward{"fast-forward", 0xC4, 0x75};
inline constexpr DeckOperation kDeckRewind{"rewind", 0xC4, 0x65};
inline constexpr DeckOperation kDeckStop{"stop", 0xC4, 0x60};
inline constexpr DeckOperation kDeckRecord{"record", 0xC2, 0x75};

inline constexpr std::array kDeckOperations{
    kDeckPlay,          kDeckStop,        kDeckPause,       kDeckRewind,          kDeckFastForward, kDeckNextFrame,
    kDeckPreviousFrame, kDeckSlowForward, kDeckSlowReverse, kDeckFastForwardPlay, kDeckRewindPlay,  kDeckRecord};

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
