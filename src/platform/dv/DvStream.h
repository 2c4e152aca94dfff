// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/ResultCodes.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

namespace platform {

/// The first byte of a sound block that did not arrive; other blocks start with their section number.
inline constexpr uint8_t kLostSoundBlock = 0xFF;

/// Receives what a DV stream delivers, on the stream's thread.
class DvStreamSink {
public:
    virtual ~DvStreamSink() = default;

    /// Receives a frame as it was in the packets, borrowed. `complete` is false if packets were lost; their content is
    /// then that of the previous frame, except that lost sound blocks start with `kLostSoundBlock`. `captureTime`: when
    /// its first packet arrived, in nanoseconds of the monotonic clock.
    virtual void DvFrameArrived(std::span<const uint8_t> frame, bool complete, int64_t captureTime) = 0;

    /// This number of whole frames was lost before the next one.
    virtual void DvFramesLost(uint32_t /*count*/) {}

    /// The device left the bus or the stream failed. A new start resumes it.
    virtual void DvStreamFailed(Result result) = 0;
};

/// Isochronous reception of one camcorder's DV stream (IEC 61883-2).
class DvStream {
public:
    virtual ~DvStream() = default;

    /// Starts delivery to `sink`, which must stay valid until `Stop`. `noDeviceForChannel` if the device is absent or
    /// can't be connected at present.
    virtual Result Start(DvStreamSink& sink) = 0;

    /// Stops delivery. Afterwards the sink is not called any more.
    virtual void Stop() = 0;

    /// Why there is no stream, or what is wrong with it: a sentence for the user. Empty if all is well. Any thread.
    virtual std::string Reason() const { return {}; }
};

/// The stream of a device by its GUID, through the machine's adapters; null without library or device.
std::unique_ptr<DvStream> OpenFireWireStream(uint64_t guid);

} // namespace platform
