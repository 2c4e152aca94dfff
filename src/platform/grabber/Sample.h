// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/DecodeAhead.h"
#include "platform/compression/ImageDescription.h"
#include "platform/memory/AddressSpace.h"
#include "platform/sound/SoundFormatConversion.h"

#include <cmath>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <utility>
#include <vector>

namespace platform {

/// The bytes of a captured buffer: a block of the address space, freed with its last owner.
class SampleData {
public:
    SampleData() = default;
    /// Takes ownership of the block.
    explicit SampleData(OwnedBlock block) : size(block.Size()), start(block.Get())
    {
        if (start != 0)
            owner = std::shared_ptr<const void>(PointerAt(block.Release()),
                                                [start = start](const void*) { FreeBlock(start); });
    }

    /// Allocates bytes with undefined content; empty if memory is full.
    static SampleData Uncleared(int64_t size) { return SampleData(OwnedBlock::Uncleared(size)); }

    /// Copies the bytes; empty if memory is full.
    static SampleData CopyOf(std::span<const uint8_t> bytes)
    {
        SampleData data = Uncleared(static_cast<int64_t>(bytes.size()));
        if (data.size > 0)
            __builtin_memcpy(PointerAt(data.start), bytes.data(), bytes.size());
        return data;
    }

    /// Address of the first byte; 0 if empty.
    Address Start() const { return start; }
    /// Number of bytes.
    int64_t Size() const { return size; }
    /// The bytes, valid while this object lives.
    std::span<uint8_t> Bytes() const { return {PointerAt<uint8_t>(start), static_cast<size_t>(size)}; }

    /// Shares the bytes with another owner.
    SharedFrame Share() const { return {owner, Bytes()}; }

private:
    int64_t size = 0;
    Address start = 0;
    std::shared_ptr<const void> owner;
};

/// The present format of a channel's buffers: the record that callers get, and the same for the grabber itself. Buffers
/// share one object until the format changes.
struct SampleDescription {
    std::vector<uint8_t> record;

    ImageDescription image; ///< of a video channel

    SoundCoding coding; ///< of a sound channel, like the next two
    double sampleRate = 0;
    int32_t channels = 0;

    /// Size in bytes of one sample of all channels.
    int32_t BytesPerFrame() const { return channels * coding.sampleSize / 8; }

    /// Time scale of the sound: the sample rate, rounded.
    int32_t SoundTimeScale() const { return static_cast<int32_t>(std::lround(sampleRate)); }
};

using SharedDescription = std::shared_ptr<const SampleDescription>;

/// The description of a frame, with its record.
inline SharedDescription DescribeImage(ImageDescription image)
{
    auto description = std::make_shared<SampleDescription>();
    description->record = RecordOf(image);
    description->image = std::move(image);
    return description;
}

/// One captured buffer on its way from a device to the main thread.
struct Sample {
    SampleData data;
    int64_t captureTime = 0; ///< in nanoseconds, monotonic clock
    int64_t stampedTime = 0; ///< of a frame: the device's own time stamp, before `Delivery` makes it unique
    int64_t duration = 0;    ///< of sound, in nanoseconds; 0 for a frame
    int64_t arrivalTime = 0; ///< when the device delivered it, by `MonotonicNow`
    bool isKey = true;       ///< whether it can be decoded without the samples before it
    int64_t framesLost = 0;  ///< sample frames that a sound source lost just before this
    SharedDescription description;
    SampleData sent;                       ///< the device's own frame, if `data` can't be decoded on its own
    SharedDescription sentDescription;     ///< of `sent`
    std::shared_ptr<PictureAhead> picture; ///< the frame's picture, decoded ahead; null: not decoded ahead

    /// Compresses a frame that has not been compressed yet, since nobody seems to want its bytes: `data` is still the
    /// device's frame. `description` is of the compressed one. Null: it is compressed, or needs not be.
    std::function<OwnedBlock()> compress;

    /// The bytes to decode for showing the frame.
    const SampleData& Shown() const { return sentDescription ? sent : data; }
    /// The description of these bytes.
    const SharedDescription& ShownDescription() const { return sentDescription ? sentDescription : description; }
};

} // namespace platform
