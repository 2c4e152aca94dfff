// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dv/DvStream.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace platform {

/// A device on the bus that sends DV: a camcorder, a deck, a converter. Its GUID stays the same through bus resets.
struct BusDevice {
    uint64_t guid = 0;
    std::string name;        ///< of maker and model, UTF-8
    std::string reason = {}; ///< why it can't be used, a sentence for people; empty when it can
};

/// What AV/C needs of a FireWire bus: frames of the Function Control Protocol (IEC 61883-1) to and from one device.
/// `Devices` and `OpenStream` may be called from any thread, commands from one thread at a time.
class Bus {
public:
    virtual ~Bus() = default;

    /// The devices on all adapters that send DV, and those that this user may not open, with the reason.
    virtual std::vector<BusDevice> Devices() = 0;

    /// Writes a command frame (at most 512 bytes) to the device. `ioErr` when it cannot have arrived there: it may be
    /// sent again then. A write of which nobody knows whether it arrived counts as a success. Responses that still
    /// waited are forgotten.
    virtual Result SendCommand(uint64_t guid, std::span<const uint8_t> frame) = 0;

    /// The next response frame of the device, or nothing when none comes in that time.
    virtual std::optional<std::vector<uint8_t>> NextResponse(uint64_t guid, std::chrono::milliseconds wait) = 0;

    /// The device's DV stream; null when it is gone or can't be received. From any thread.
    virtual std::unique_ptr<DvStream> OpenStream(uint64_t guid) = 0;
};

/// The machine's FireWire bus; null where kernel, library or adapter is missing, which is found out at once.
std::shared_ptr<Bus> OpenBus();

/// Replaces the machine's bus with one of the test's own making until called with an empty function.
void SetBusProvider(std::function<std::shared_ptr<Bus>()> provider);

/// The machine's bus through libraw1394, null without it.
std::shared_ptr<Bus> OpenFireWireBus();

} // namespace platform
