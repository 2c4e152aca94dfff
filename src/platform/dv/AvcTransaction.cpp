#include "platform/dv/AvcTransaction.h"

namespace platform {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds kAnswerTime{100};
constexpr milliseconds kWholeTime{500};
constexpr int kAttempts = 4;
constexpr uint8_t kTransportState = 0xD0;

AvcResponse CodeOfFrame(std::span<const uint8_t> frame)
{
    return static_cast<AvcResponse>(frame[0] & 0x0F);
}

// A late answer to an earlier command must not be taken for this one's. The answer to a status inquiry of the
// transport state carries the state in the place of the opcode, so there only the subunit is compared.
bool BelongsTo(std::span<const uint8_t> response, std::span<const uint8_t> command)
{
    if (response.size() < 3 || CodeOfFrame(response) < AvcResponse::NotImplemented || response[1] != command[1])
        return false;
    return response[2] == command[2] || command[2] == kTransportState;
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
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        // A bus reset loses the write or the answer; either way the next attempt finds the device by its GUID.
        if (bus.SendCommand(guid, command) != noErr)
            continue;
        if (!WaitForResponse(bus, guid, command, Clock::now() + kAnswerTime, response))
            continue;
        while (CodeOfFrame(response) == AvcResponse::Interim && WaitForResponse(bus, guid, command, end, response)) {
        }
        return noErr;
    }
    return ioErr;
}

} // namespace platform
