// SPDX-License-Identifier: MIT
#include "platform/dv/AvcTransaction.h"

#include "platform/dv/FireWireUnits.h"
#include "platform/log/Log.h"

#include <thread>

namespace platform {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds kAnswerTime{200};
constexpr milliseconds kWholeTime{500};
constexpr milliseconds kWriteAgain{20};

AvcResponse CodeOfFrame(std::span<const uint8_t> frame)
{
    return static_cast<AvcResponse>(frame[0] & 0x0F);
}

// The possible responses to a command of each kind.
bool CanAnswer(AvcResponse response, bool isControl)
{
    switch (response) {
    case AvcResponse::NotImplemented:
    case AvcResponse::Rejected:
    case AvcResponse::Interim:
        return true;
    case AvcResponse::Accepted:
        return isControl;
    default:
        return !isControl && response >= AvcResponse::NotImplemented;
    }
}

// A late response to an earlier command must not be taken for this one's. The response to a status inquiry of the
// transport state has the state, 0xC1 to 0xC4, in place of the opcode.
bool BelongsTo(std::span<const uint8_t> response, std::span<const uint8_t> command)
{
    if (response.size() < 3 || !CanAnswer(CodeOfFrame(response), command[0] == kAvcControl) ||
        response[1] != command[1])
        return false;
    const bool isState = command[2] == kTransportState && response[2] >= 0xC1 && response[2] <= 0xC4;
    return response[2] == command[2] || isState;
}

bool WaitForResponse(Bus& bus, uint64_t guid, std::span<const uint8_t> command, Clock::time_point until,
                     std::vector<uint8_t>& response)
{
    for (;;) {
        const auto left = std::chrono::ceil<milliseconds>(until - Clock::now());
        if (left <= milliseconds{0})
            return false;
        auto frame = bus.NextResponse(guid, left);
        if (!frame)
            return false;
        if (BelongsTo(*frame, command)) {
            response = std::move(*frame);
            return true;
        }
    }
}

} // namespace

Result DoAvcTransaction(Bus& bus, uint64_t guid, std::span<const uint8_t> command, std::vector<uint8_t>& response)
{
    response.clear();
    if (command.size() < 3)
        return paramErr;
    const auto end = Clock::now() + kWholeTime;
    while (Clock::now() < end) {
        if (bus.SendCommand(guid, command) != noErr) {
            std::this_thread::sleep_for(kWriteAgain);
            continue;
        }
        if (!WaitForResponse(bus, guid, command, Clock::now() + kAnswerTime, response)) {
            if (command[0] == kAvcControl)
                break;
            continue;
        }
        while (CodeOfFrame(response) == AvcResponse::Interim && WaitForResponse(bus, guid, command, end, response)) {
        }
        return noErr;
    }
    digitizerLog.Warning("FireWire: ", GuidText(guid), " does not answer AV/C command ", command[2]);
    return ioErr;
}

} // namespace platform
