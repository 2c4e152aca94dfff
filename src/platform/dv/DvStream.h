// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/ResultCodes.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

namespace platform {

/// The first byte of a block of sound that did not arrive; blocks that did begin with their section's number.
inline constexpr uint8_t kLostSoundBlock = 0xFF;

/// Takes what a DV stream delivers, on the stream's thread.
class DvStreamSink {
public:
    virtual ~DvStreamSink() = default;

    /// A frame as the packets held it, borrowed. `complete` is false when packets of it were missing; what they would
    /// have brought is then left from the frame before, but for blocks of sound, which begin with `kLostSoundBlock`.
    /// `captureTime`: nanoseconds of the monotonic clock at which its first packet came.
    virtual void DvFrameArrived(std::span<const uint8_t> frame, bool complete, int64_t captureTime) = 0;

    /// That many whole frames were lost before the next one.
    virtual void DvFramesLost(uint32_t /*count*/) {}

    /// The device left the bus or the stream broke down. A new start takes it up again.
    virtual void DvStreamFailed(Result result) = 0;
};

/// Isochronous reception of one camcorder's DV stream (IEC 61883-2).
class DvStream {
public:
    virtual ~DvStream() = default;

    /// Starts to deliver to `sink`, which outlives the stop. `noDeviceForChannel` for a device that is not there or
    /// can't be connected at the moment.
    virtual Result Start(DvStreamSink& sink) = 0;

    /// Returns only when no further call of the sink can come.
    virtual void Stop() = 0;

    /// Why there is no stream, or what is wrong with it: a sentence for people. Empty when all is well. From any
    /// thread.
    virtual std::string Reason() const { return {}; }
};

/// The stream of a device, by its GUID, through the machine's adapters; null without library or device.
std::unique_ptr<DvStream> OpenFireWireStream(uint64_t guid);

} // namespace platform
