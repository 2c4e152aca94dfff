// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/ImageDescription.h"
#include "platform/drawing/Ports.h"

#include <memory>
#include <span>

namespace platform {

/// Decodes frames of one description to 32-bit pixels, in as few passes as the codec permits: JPEG with TurboJPEG and
/// raw layouts with libyuv in one pass, JPEG at half its size or less by `ReducedJpeg`, everything else with
/// libavcodec.
class FrameDecoder {
public:
    virtual ~FrameDecoder() = default;

    /// Decodes a frame onto the whole of `target` (32-bit pixels of the description's size, or of a smaller one if the
    /// decoder can reduce). Returns `codecBadDataErr` for a frame that does not decode, `codecSizeErr` for one of
    /// another size, `codecConditionErr` while the codec holds back its picture; the target is then undefined.
    virtual Result Decode(std::span<const uint8_t> frame, const PortPixels& target) = 0;

    /// Whether `Decode` also supports smaller targets: a reduced picture for less work.
    virtual bool CanReduce() const { return false; }

    /// Creates a decoder for the description; null if its codec can't be decoded.
    static std::unique_ptr<FrameDecoder> Create(const ImageDescription& description);
};

} // namespace platform
