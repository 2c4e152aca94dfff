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

/// Accuracies and decompressors as callers pass them.
inline constexpr int32_t kCodecNormalQuality = 768;
inline constexpr int32_t kBestSpeedCodec = -1;

/// Begins a sequence that decodes frames of one description into a port.
/// Writes its number as 32 bits at `sequence` (0 on failure). `description` is a handle with an image description,
/// which is copied. `data` and `dataSize` name a first frame and may be 0. `port` is the target, 0 refused.
/// `device` is 0. `sourceRect` (address of a rectangle within the image) may be 0: the whole image.
/// `matrix` (address of 36 bytes) maps image points to port points; 0: the identity. `mode` and `mask` are 0.
/// `flags`, `accuracy` and `codec` are accepted and make no difference.
/// `paramErr` for a dead handle or port and for a port whose pixels are not 32-bit ones, `codecBadDataErr` for a
/// description that is cut short or of an impossible size, `noCodecErr` for a codec that can't be decoded.
Result DecompressSequenceBeginS(Address sequence, Handle description, Address data, int32_t dataSize,
                                PortReference port, int32_t device, Address sourceRect, Address matrix, int16_t mode,
                                int32_t mask, uint32_t flags, int32_t accuracy, int32_t codec);

/// Decodes one frame into the sequence's port, clipped to it, and tells the port's owner what changed.
/// Writes 0 as 32 bits at `outFlags` unless that is 0. `completion` and `frameTime` are 0.
/// `paramErr` for a dead sequence or data outside of living blocks, `codecBadDataErr` for a frame that doesn't decode:
/// what was decoded of it before the fault may show.
Result DecompressSequenceFrameWhen(int32_t sequence, Address data, int32_t dataSize, int32_t inFlags, Address outFlags,
                                   int32_t completion, Address frameTime);

/// The same for callers in C++.
class DecompressionSequence {
public:
    /// Begins a sequence that decodes whole frames of a description into a port; `mapping` leads from points of the
    /// image to points of the port. Null, and the result as of `DecompressSequenceBeginS`, when that fails.
    static std::shared_ptr<DecompressionSequence> Begin(const ImageDescription& image, PortReference port,
                                                        const Transform& mapping, Result& result);

    virtual ~DecompressionSequence() = default;

    /// Decodes and draws the frame of `dataSize` bytes at `data`. Results as `DecompressSequenceFrameWhen`.
    virtual Result ShowFrame(Address data, int32_t dataSize) = 0;
};

/// What is known of a frame while it is handed over: callers pass it on by its address alone, and a sequence that is
/// asked to decode what lies there finds the object by that address. It lives for the length of the hand-over, as does
/// the description. Main thread.
///
/// The frame may be of another codec or size than the sequence was begun for, because the device or its settings
/// changed. The sequence shows it all the same, in the place that its own frames had.
///
/// A frame that is not to be shown, because a newer one waits, is accepted, and so is the picture of the port that it
/// would have been decoded into: `DecompressSequenceFrameWhen` checks its arguments, answers 0, and draws nothing.
///
/// A frame whose picture was decoded ahead brings it along: the sequence takes the picture, by exchanging the pixels of
/// its port where the picture has the port's size. A reduced picture stands for the whole one until the port's pixels
/// are read.
class FrameInHand {
public:
    /// Describes the frame at that address to all sequences until the destructor.
    FrameInHand(Address frame, const ImageDescription& description, bool shown = true,
                std::unique_ptr<DecodedPicture> picture = nullptr);
    ~FrameInHand();
    FrameInHand(const FrameInHand&) = delete;
    FrameInHand& operator=(const FrameInHand&) = delete;

    /// Gives sequences another form of the same frame to show, one that can be decoded by itself. It is in the address
    /// space, and both outlive the object.
    void ShowInstead(std::span<const uint8_t> other, const ImageDescription& itsDescription);

    /// The largest size at which the frame was drawn onto a screen so far, 0 by 0 where it was not.
    const ShownSize& Shown() const { return shownSize; }

    // For sequences.

    /// The frame that is at an address, or whose picture has its pixels there; null where none is known.
    static FrameInHand* At(Address data);

    /// Whether an address is that of the frame's picture, and not of the frame.
    bool IsPictureAt(Address data) const { return data == picturePixels; }

    /// Notes where a port's pixels are that hold the frame's picture, or would if it were shown.
    void NotePicture(Address pixels) { picturePixels = pixels; }

    /// The picture decoded ahead, if it has that size and was not taken yet.
    std::unique_ptr<DecodedPicture> TakePicture(int32_t width, int32_t height);

    /// Notes a size at which the frame was drawn onto a screen.
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
