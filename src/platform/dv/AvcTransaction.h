// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dv/Bus.h"
#include "platform/dv/DeckCommands.h"

namespace platform {

/// Sends a command frame and waits up to 200 ms for its response, twice the time that the standard allows a device. If
/// the command could not be written, as during a bus reset, the write is repeated for up to half a second. If it was
/// written but not answered, only an inquiry is sent again, since the deck may have carried out a control command. A
/// device that answers INTERIM has half a second from the start for its final response; after that the interim response
/// is returned, since the command is being carried out. Returns `ioErr` without any response, `paramErr` for a frame of
/// less than 3 bytes. A rejection by the device counts as success and is in `response`.
Result DoAvcTransaction(Bus& bus, uint64_t guid, std::span<const uint8_t> command, std::vector<uint8_t>& response);

} // namespace platform
