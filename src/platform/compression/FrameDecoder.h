// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/ImageDescription.h"
#include "platform/drawing/Ports.h"

#include <memory>
#include <span>

namespace platform {

/// Decodes frames of one description into 32-bit pixels, in as few passes as the codec allows: JPEG by TurboJPEG in
/// one, raw layouts by libyuv in one, everything else by libavcodec.
class FrameDecoder {
public:
    virtual ~FrameDecoder() = default;

    /// Decodes a frame onto the whole of `target` (32-bit pixels of the description's size, or of a smaller one where
    /// the decoder can reduce). `codecBadDataErr` for one that does not decode, `codecSizeErr` for one of another
    /// size, `codecConditionErr` while the codec holds its picture back; the target is then left undefined.
    virtual Result Decode(std::span<const uint8_t> frame, const PortPixels& target) = 0;

    /// Whether `Decode` also takes smaller targets: a reduced picture for less work.
    virtual bool CanReduce() const { return false; }

    /// A decoder for the description, or null when its codec can't be decoded.
    static std::unique_ptr<FrameDecoder> Create(const ImageDescription& description);
};

} // namespace platform
