// SPDX-License-Identifier: MIT
#include "platform/dv/Deck.h"

#include "platform/dv/AvcTransaction.h"

#include <algorithm>

namespace platform {
namespace {

AvcResponse ResponseCodeOf(std::span<const uint8_t> response)
{
    return static_cast<AvcResponse>(response[0] & 0x0F);
}

// The response to a status inquiry; empty if there is none.
std::vector<uint8_t> Inquire(Bus& bus, uint64_t guid, std::span<const uint8_t> frame)
{
    std::vector<uint8_t> response;
    if (DoAvcTransaction(bus, guid, frame, response) != noErr || response.size() < frame.size())
        return {};
    const AvcResponse code = ResponseCodeOf(response);
    return code == AvcResponse::Stable || code == AvcResponse::InTransition ? response : std::vector<uint8_t>();
}

} // namespace

std::string DeckState::Name() const
{
    const auto named = std::ranges::find_if(
        kDeckOperations, [this](const DeckOperation& one) { return one.opcode == opcode && one.operand == operand; });
    if (named != kDeckOperations.end())
        return named->name;
    if (IsWithoutTape())
        return "without a tape";
    return opcode == kDeckPlay.opcode ? "playing" : opcode == kDeckRecord.opcode ? "recording" : "winding";
}

Result Deck::Do(const DeckOperation& operation)
{
    std::vector<uint8_t> response;
    if (const Result result = DoAvcTransaction(*bus, guid, CommandFrame(operation), response); result != noErr)
        return result;
    const AvcResponse code = ResponseCodeOf(response);
    return code == AvcResponse::Accepted || code == AvcResponse::Interim ? noErr : paramErr;
}

std::optional<DeckState> Deck::State()
{
    const auto response = Inquire(*bus, guid, kTransportStateInquiry);
    return response.empty() ? std::nullopt : std::optional(DeckState{response[2], response[3]});
}

std::optional<TapeTimecode> Deck::Timecode()
{
    const auto response = Inquire(*bus, guid, kTimecodeInquiry);
    if (response.empty())
        return std::nullopt;
    // The deck does not report the television system of its timecode.
    return TimecodeOfPackedDecimals(std::span<const uint8_t, 4>(&response[4], 4), false);
}

} // namespace platform
