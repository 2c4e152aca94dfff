// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/DecodeAhead.h"
#include "platform/compression/ImageDescription.h"
#include "platform/memory/AddressSpace.h"
#include "platform/sound/SoundFormatConversion.h"

#include <cstdint>
#include <memory>
#include <span>
#include <utility>
#include <vector>

namespace platform {

/// Bytes of a captured buffer: a block of the address space that ends with the last of its owners.
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

    /// Room whose content is undefined; empty without memory.
    static SampleData Uncleared(int64_t size) { return SampleData(OwnedBlock::Uncleared(size)); }

    /// Copies the bytes; empty if memory is full.
    static SampleData CopyOf(std::span<const uint8_t> bytes)
    {
        SampleData data = Uncleared(static_cast<int64_t>(bytes.size()));
        if (data.size > 0)
            __builtin_memcpy(PointerAt(data.start), bytes.data(), bytes.size());
        return data;
    }

    /// Address of the first byte; 0 where there is none.
    Address Start() const { return start; }
    /// Number of bytes.
    int64_t Size() const { return size; }
    /// The bytes, valid while the object lives.
    std::span<uint8_t> Bytes() const { return {PointerAt<uint8_t>(start), static_cast<size_t>(size)}; }

    /// The bytes for another owner.
    SharedFrame Share() const { return {owner, Bytes()}; }

private:
    int64_t size = 0;
    Address start = 0;
    std::shared_ptr<const void> owner;
};

/// What a channel's buffers are at the time: the record that callers get, and the same for the grabber itself.
/// Buffers share one until something of it changes.
struct SampleDescription {
    std::vector<uint8_t> record;

    ImageDescription image; ///< of a video channel

    SoundCoding coding; ///< of a sound channel, and its next two
    double sampleRate = 0;
    int32_t channels = 0;

    /// Bytes of one sample of all channels.
    int32_t BytesPerFrame() const { return channels * coding.sampleSize / 8; }
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
    int64_t captureTime = 0; ///< nanoseconds of the monotonic clock
    int64_t stampedTime = 0; ///< of a frame: the device's own stamp, before `Delivery` makes it distinct
    int64_t duration = 0;    ///< nanoseconds of sound; 0 for a frame
    int64_t arrivalTime = 0; ///< when the device handed it over, by `MonotonicNow`
    bool isKey = true;       ///< whether it can be decoded without the samples before it
    int64_t framesLost = 0;  ///< sample frames that a sound source lost just before
    SharedDescription description;
    SampleData sent;                       ///< the device's own frame, where `data` can't be decoded by itself
    SharedDescription sentDescription;     ///< of `sent`
    std::shared_ptr<PictureAhead> picture; ///< what a frame looks like, decoded meanwhile; null: not decoded ahead

    /// What to decode to see the frame.
    const SampleData& Shown() const { return sentDescription ? sent : data; }
    /// The description of the bytes to be shown.
    const SharedDescription& ShownDescription() const { return sentDescription ? sentDescription : description; }
};

} // namespace platform
