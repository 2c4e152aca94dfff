// SPDX-License-Identifier: MIT
// The bytes of AV/C frames to and from a deck (1394 TA, AV/C Digital Interface Command Set General, and AV/C Tape
// Recorder/Player Subunit). Byte 0 is the command type or the response code, byte 1 the subunit, byte 2 the opcode, and
// the operands follow.
#pragma once

#include <array>
#include <cstdint>

namespace platform {

// Command types.
inline constexpr uint8_t kAvcControl = 0;
inline constexpr uint8_t kAvcStatus = 1;

/// Response codes: the low four bits of byte 0.
enum class AvcResponse : uint8_t {
    NotImplemented = 0x08,
    Accepted = 0x09,
    Rejected = 0x0A,
    InTransition = 0x0B,
    Stable = 0x0C,
    Changed = 0x0D,
    Interim = 0x0F,
};

/// Address of the first tape recorder in a device (AV/C subunit type 4, number 0).
inline constexpr uint8_t kTapeSubunit = 0x20;

/// An operation of a tape transport: opcode and operand of its control command.
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

/// The frame that has a deck carry out an operation.
constexpr std::array<uint8_t, 4> CommandFrame(const DeckOperation& operation)
{
    return {kAvcControl, kTapeSubunit, operation.opcode, operation.operand};
}

inline constexpr uint8_t kTransportState = 0xD0;

/// The frame that asks what the transport is doing.
inline constexpr std::array<uint8_t, 4> kTransportStateInquiry{kAvcStatus, kTapeSubunit, kTransportState, 0x7F};

/// The frame that asks for the timecode under the head.
inline constexpr std::array<uint8_t, 8> kTimecodeInquiry{kAvcStatus, kTapeSubunit, 0x51, 0x71, 0xFF, 0xFF, 0xFF, 0xFF};

} // namespace platform
