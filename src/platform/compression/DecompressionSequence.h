// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/DecodedPicture.h"
#include "platform/compression/ImageDescription.h"
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

/// Says what lies at an address, for as long as it lives: a frame on its way to somebody who began his sequence for
/// frames of another codec or size, before the device or its settings changed. The sequence shows it all the same, in
/// the place that its own frames had. The description outlives the object; the newest object counts. Main thread.
///
/// A frame that is not to be shown, because a newer one waits, is accepted by all sequences while the object lives:
/// `DecompressSequenceFrameWhen` checks its arguments, answers 0, and decodes and draws nothing.
///
/// A frame whose picture was decoded ahead brings it along: a sequence that is asked to decode the frame takes the
/// picture, by exchanging the pixels of its port where the picture has the port's size. A reduced picture stands for
/// the whole one until somebody reads the port's pixels.
class FrameInHand {
public:
    FrameInHand(Address frame, const ImageDescription& description, bool shown = true,
                std::unique_ptr<DecodedPicture> picture = nullptr);
    ~FrameInHand();
    FrameInHand(const FrameInHand&) = delete;
    FrameInHand& operator=(const FrameInHand&) = delete;

    /// Gives sequences another form of the same frame to show, one that can be decoded by itself. Both outlive the
    /// object.
    void ShowInstead(std::span<const uint8_t> other, const ImageDescription& itsDescription);

    /// The largest size at which the frame was drawn onto a screen so far, 0 by 0 where it was not.
    const ShownSize& Shown() const { return shownSize; }

    // For sequences.

    /// The newest object, or null.
    static FrameInHand* Newest();

    /// The picture of the frame at `data`, if it has one of that size that was not taken yet.
    std::unique_ptr<DecodedPicture> TakePicture(Address data, int32_t width, int32_t height);

    void NoteShown(const ShownSize& size)
    {
        shownSize = {std::max(shownSize.width, size.width), std::max(shownSize.height, size.height)};
    }
    const ImageDescription* DescriptionAt(Address data) const { return frame == data ? description : nullptr; }
    std::span<const uint8_t> InsteadAt(Address data) const { return frame == data ? instead : decltype(instead)(); }
    bool IsShown() const { return shown; }

private:
    Address frame;
    const ImageDescription* description; ///< of what is shown
    std::span<const uint8_t> instead;    ///< shown in the frame's place, where it isn't empty
    bool shown;
    std::unique_ptr<DecodedPicture> picture;
    ShownSize shownSize;
    FrameInHand* outer;
};

/// Ends a sequence; `paramErr` for a dead number.
Result CDSequenceEnd(int32_t sequence);

} // namespace platform
