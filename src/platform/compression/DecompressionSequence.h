// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/DecodedPicture.h"
#include "platform/compression/ImageDescription.h"
#include "platform/compression/Matrix.h"
#include "platform/drawing/GraphicsWorlds.h"
#include "platform/memory/Handles.h"

#include <algorithm>
#include <memory>

namespace platform {

/// Values that callers pass for accuracy and decompressor.
inline constexpr int32_t kCodecNormalQuality = 768;
inline constexpr int32_t kBestSpeedCodec = -1;

/// Begins a sequence that decodes frames of one description into a port. Writes its number as 32 bits at `sequence` (0
/// on failure). `description` is a handle with an image description, which is copied. `data` and `dataSize` name a
/// first frame and may be 0. `port` is the target and must not be 0. `device` is 0. `sourceRect` (address of a
/// rectangle in the image) may be 0: the whole image. `matrix` (address of 36 bytes) maps image points to port points;
/// 0: the identity. `mode` and `mask` are 0. `flags`, `accuracy` and `codec` have no effect. Returns `paramErr` for an
/// invalid handle or port and for a port without 32-bit pixels, `codecBadDataErr` for a description that is truncated
/// or has an impossible size, `noCodecErr` if the codec can't be decoded.
Result DecompressSequenceBeginS(Address sequence, Handle description, Address data, int32_t dataSize,
                                PortReference port, int32_t device, Address sourceRect, Address matrix, int16_t mode,
                                int32_t mask, uint32_t flags, int32_t accuracy, int32_t codec);

/// Decodes one frame into the sequence's port, clipped to it, and notifies the port's owner. Writes 0 as 32 bits at
/// `outFlags` unless that is 0. `completion` and `frameTime` are 0. Returns `paramErr` for an invalid sequence or data
/// outside of allocated blocks, `codecBadDataErr` for a frame that doesn't decode: what was decoded before the error
/// may be visible.
Result DecompressSequenceFrameWhen(int32_t sequence, Address data, int32_t dataSize, int32_t inFlags, Address outFlags,
                                   int32_t completion, Address frameTime);

/// The same for callers in C++.
class DecompressionSequence {
public:
    /// Begins a sequence that decodes whole frames of a description into a port; `mapping` maps points of the image to
    /// points of the port. Null on failure, with the result as for `DecompressSequenceBeginS`.
    static std::shared_ptr<DecompressionSequence> Begin(const ImageDescription& image, PortReference port,
                                                        const Transform& mapping, Result& result);

    virtual ~DecompressionSequence() = default;

    /// Decodes and draws the frame of `dataSize` bytes at `data`. Results as for `DecompressSequenceFrameWhen`.
    virtual Result ShowFrame(Address data, int32_t dataSize) = 0;
};

/// Describes a frame during its delivery. Callers pass on only the frame's address, and a sequence that is asked to
/// decode the frame finds this object by that address. It exists during the delivery, and so must the description. Main
/// thread.
///
/// The frame may have another codec or size than the sequence was begun for, because the device or its settings
/// changed. The sequence shows it all the same, in the place of its earlier frames.
///
/// A frame that is not to be shown, because a newer one is waiting, is accepted, and so is the picture of the port into
/// which it would have been decoded: `DecompressSequenceFrameWhen` checks its arguments, returns 0, and draws nothing.
///
/// If the frame's picture was decoded ahead, the sequence takes it, by swapping the pixels of its port if the sizes
/// agree. A reduced picture is used instead of the full one until the port's pixels are read.
class FrameInHand {
public:
    /// Describes the frame at that address to all sequences until it is destroyed.
    FrameInHand(Address frame, const ImageDescription& description, bool shown = true,
                std::unique_ptr<DecodedPicture> picture = nullptr);
    ~FrameInHand();
    FrameInHand(const FrameInHand&) = delete;
    FrameInHand& operator=(const FrameInHand&) = delete;

    /// Sets another form of the same frame for sequences to show, which can be decoded on its own. It must be in the
    /// address space, and both must outlive this object.
    void ShowInstead(std::span<const uint8_t> other, const ImageDescription& itsDescription);

    /// The largest size at which the frame was drawn on a screen so far, 0 by 0 if it was not.
    const ShownSize& Shown() const { return shownSize; }

    // For sequences.

    /// The frame that is at an address, or whose picture has its pixels there; null if there is none.
    static FrameInHand* At(Address data);

    /// Whether an address is that of the frame's picture, not of the frame.
    bool IsPictureAt(Address data) const { return data == picturePixels; }

    /// Stores where a port's pixels are that contain the frame's picture, or would if it were shown.
    void NotePicture(Address pixels) { picturePixels = pixels; }

    /// The picture decoded ahead, if it has that size and was not taken yet.
    std::unique_ptr<DecodedPicture> TakePicture(int32_t width, int32_t height);

    /// Stores a size at which the frame was drawn on a screen.
    void NoteShown(const ShownSize& size)
    {
        shownSize = {std::max(shownSize.width, size.width), std::max(shownSize.height, size.height)};
    }

    /// The description of what is shown.
    const ImageDescription& Description() const { return *description; }
    /// The bytes to show instead of the frame's own; empty if these are shown.
    std::span<const uint8_t> Instead() const { return instead.bytes; }
    /// Whether the frame is to be shown.
    bool IsShown() const { return shown; }

private:
    Address frame;
    Address picturePixels = 0;
    const ImageDescription* description;
    struct {
        Address start = 0;
        std::span<const uint8_t> bytes;
    } instead;
    bool shown;
    std::unique_ptr<DecodedPicture> picture;
    ShownSize shownSize;
};

/// Ends a sequence; `paramErr` for a dead number.
Result CDSequenceEnd(int32_t sequence);

} // namespace platform
