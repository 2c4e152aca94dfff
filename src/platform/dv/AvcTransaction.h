#pragma once

#include "platform/dv/Bus.h"

namespace platform {

/// Response codes of AV/C frames (1394 TA, AV/C Digital Interface Command Set General), low four bits of byte 0.
enum class AvcResponse : uint8_t {
    NotImplemented = 0x08,
    Accepted = 0x09,
    Rejected = 0x0A,
    InTransition = 0x0B,
    Stable = 0x0C,
    Changed = 0x0D,
    Interim = 0x0F,
};

/// Sends a command frame and waits for the response that belongs to it: a device has 100 ms to answer, and the command
/// is sent again up to three times. A device that answers INTERIM has until half a second after the first attempt for
/// its final answer; after that the interim one stands, since the command is at work.
/// `ioErr` when nothing was heard, `paramErr` for a frame below 3 bytes. A refusal by the device is a success that
/// `response` tells of.
Result DoAvcTransaction(Bus& bus, uint64_t guid, std::span<const uint8_t> command, std::vector<uint8_t>& response);

} // namespace platform
