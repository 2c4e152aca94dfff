#pragma once

#include "platform/memory/ResultCodes.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <span>

namespace platform {

/// Takes what a DV stream delivers, on the stream's thread.
class DvStreamSink {
public:
    virtual ~DvStreamSink() = default;

    /// A frame as the packets held it, borrowed. `complete` is false when packets of it were missing; what they would
    /// have brought is then left from the frame before. `captureTime`: nanoseconds of the monotonic clock at which its
    /// first packet came.
    virtual void DvFrameArrived(std::span<const uint8_t> frame, bool complete, int64_t captureTime) = 0;

    /// The device left the bus or the stream broke down. It is taken up again by a new start.
    virtual void DvStreamFailed(Result result) = 0;
};

/// Isochronous reception of one camcorder's DV stream (IEC 61883-2).
class DvStream {
public:
    virtual ~DvStream() = default;
    virtual Result Start(DvStreamSink& sink) = 0;
    /// Returns only when no further call of the sink can come.
    virtual void Stop() = 0;
};

/// The stream of a device, by its GUID, through the machine's adapters; null without library or device.
std::unique_ptr<DvStream> OpenFireWireStream(uint64_t guid);

} // namespace platform
