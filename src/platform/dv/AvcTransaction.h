// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dv/Bus.h"
#include "platform/dv/DeckCommands.h"

namespace platform {

/// Sends a command frame and waits for the response that belongs to it, 200 ms: twice what the standard allows a
/// device. A command that could not be written, as in a bus reset, is written again for up to half a second; one that
/// was written and not answered is sent again only if it asks for something, since a deck may have carried out a
/// control command all the same. A device that answers INTERIM has until half a second after the beginning for its
/// final answer; after that the interim one stands, since the command is at work. `ioErr` when nothing was heard,
/// `paramErr` for a frame below 3 bytes. A refusal by the device is a success that `response` tells of.
Result DoAvcTransaction(Bus& bus, uint64_t guid, std::span<const uint8_t> command, std::vector<uint8_t>& response);

} // namespace platform
