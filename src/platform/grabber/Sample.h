#pragma once

#include "platform/compression/ImageDescription.h"
#include "platform/memory/AddressSpace.h"
#include "platform/sound/SoundFormatConversion.h"

#include <cstdint>
#include <memory>
#include <span>
#include <utility>
#include <vector>

namespace platform {

/// Bytes of a captured buffer: a block of the address space that ends with its owner.
class SampleData {
public:
    SampleData() = default;
    explicit SampleData(OwnedBlock block) : start(block.Release()), size(start == 0 ? 0 : BlockSize(start)) {}
    SampleData(SampleData&& other) noexcept : start(std::exchange(other.start, 0)), size(std::exchange(other.size, 0))
    {
    }
    SampleData& operator=(SampleData&& other) noexcept
    {
        std::swap(start, other.start);
        std::swap(size, other.size);
        return *this;
    }
    ~SampleData() { FreeBlock(start); }

    /// Room whose content is undefined; empty without memory.
    static SampleData Uncleared(int64_t size)
    {
        SampleData data;
        data.start = AllocateUnclearedBlock(size);
        data.size = data.start == 0 ? 0 : size;
        return data;
    }

    static SampleData CopyOf(std::span<const uint8_t> bytes)
    {
        SampleData data = Uncleared(static_cast<int64_t>(bytes.size()));
        if (data.size > 0)
            __builtin_memcpy(PointerAt(data.start), bytes.data(), bytes.size());
        return data;
    }

    Address Start() const { return start; }
    int64_t Size() const { return size; }
    std::span<uint8_t> Bytes() const { return {PointerAt<uint8_t>(start), static_cast<size_t>(size)}; }

private:
    Address start = 0;
    int64_t size = 0;
};

/// What a channel's buffers are at the time: the record that callers get, and the same for the grabber itself.
/// Buffers share one until something of it changes.
struct SampleDescription {
    std::vector<uint8_t> record;

    ImageDescription image; ///< of a video channel

    SoundCoding coding; ///< of a sound channel, and its next two
    double sampleRate = 0;
    int32_t channels = 0;

    int32_t BytesPerFrame() const { return channels * coding.sampleSize / 8; }
};

using SharedDescription = std::shared_ptr<const SampleDescription>;

/// One captured buffer on its way from a device to the main thread.
struct Sample {
    SampleData data;
    int64_t captureTime = 0; ///< nanoseconds of the monotonic clock
    int64_t arrivalTime = 0; ///< when the device handed it over, by `MonotonicNow`
    bool isKey = true;       ///< whether it can be decoded without the samples before it
    int64_t framesLost = 0;  ///< sample frames that a sound source lost just before
    SharedDescription description;
};

} // namespace platform
