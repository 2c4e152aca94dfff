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

/// A device on the bus that sends DV: a camcorder, a deck, a converter. Its GUID does not change with bus resets.
struct BusDevice {
    uint64_t guid = 0;
    std::string name;        ///< vendor and model, UTF-8
    std::string reason = {}; ///< why it can't be used: a sentence for the user; empty if it can
};

/// What AV/C needs of a FireWire bus: frames of the Function Control Protocol (IEC 61883-1) to and from one device.
/// `Devices` and `OpenStream` may be called from any thread, commands from one thread at a time.
class Bus {
public:
    virtual ~Bus() = default;

    /// The devices on all adapters that send DV, including those that this user may not open, with the reason.
    virtual std::vector<BusDevice> Devices() = 0;

    /// Writes a command frame of at most 512 bytes to the device. Returns `ioErr` if it cannot have arrived: it may
    /// then be sent again. A write that may or may not have arrived counts as a success. Discards pending responses.
    virtual Result SendCommand(uint64_t guid, std::span<const uint8_t> frame) = 0;

    /// The next response frame of the device; empty on time-out.
    virtual std::optional<std::vector<uint8_t>> NextResponse(uint64_t guid, std::chrono::milliseconds wait) = 0;

    /// The device's DV stream; null if the device is gone or can't be received. Any thread.
    virtual std::unique_ptr<DvStream> OpenStream(uint64_t guid) = 0;
};

/// The machine's bus; null if kernel support, library or adapter is missing, which is detected at once.
std::shared_ptr<Bus> OpenBus();

/// Replaces the machine's bus, for tests; an empty function restores it.
void SetBusProvider(std::function<std::shared_ptr<Bus>()> provider);

/// The machine's bus through libraw1394; null without the library.
std::shared_ptr<Bus> OpenFireWireBus();

} // namespace platform
