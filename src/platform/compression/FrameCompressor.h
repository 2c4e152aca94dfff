// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/VideoColors.h"
#include "platform/memory/AddressSpace.h"

#include <memory>
#include <span>
#include <string>
#include <vector>

namespace platform {

/// A picture as delivered by a device, borrowed. `format` is a pixel format of `PixelFormat.h` with packed rows, or a
/// codec's code ("jpeg", "dvc ", ...) for a frame that the device has compressed itself.
struct RawFrame {
    std::span<const uint8_t> bytes;
    FourCharCode format = 0;
    int32_t width = 0;
    int32_t height = 0;
    VideoColors colors = {};                     ///< of luma and chroma; meaningless for RGB
    std::span<const uint8_t> configuration = {}; ///< of "avc1": the content of the description's "avcC" atom
};

inline constexpr int32_t kHighestQuality = 1024;

/// The settings of a compressor. Qualities run from 0 to `kHighestQuality`, 512 is normal. The last four only affect
/// inter-frame compressors.
struct CompressionSettings {
    FourCharCode codec = CodeOf("jpeg");
    int32_t depth = 24;
    int32_t spatialQuality = 512;
    int32_t temporalQuality = 512; ///< of the frames between key frames
    int32_t keyFrameRate = 0;      ///< a key frame every that many frames; 0: the default
    int32_t dataRate = 0;          ///< bytes per second, not to be exceeded for longer than a second; 0: no limit
    double frameRate = 0;          ///< expected frames per second; 0: unknown

    bool operator==(const CompressionSettings&) const = default;
};

struct CompressorName {
    FourCharCode codec;
    std::string name;          ///< for the user
    bool hasQuality = true;    ///< whether the spatial quality has an effect
    bool hasAlpha = false;     ///< whether it can store 32 bits per pixel as well as 24
    bool isInterFrame = false; ///< whether key frames, temporal quality and data rate have an effect
};

/// The compressors supported by `FrameCompressor::Create`, the default first.
std::vector<CompressorName> AvailableCompressors();

/// Compresses frames with one codec. An object may be used by one thread at a time.
class FrameCompressor {
public:
    virtual ~FrameCompressor() = default;

    /// Compresses a frame into a block of the address space, which the caller owns and whose size is that of the
    /// compressed frame. A frame that the device compressed with another codec is decoded first. Returns an empty block
    /// if the frame could not be read.
    virtual OwnedBlock Compress(const RawFrame& frame) = 0;

    /// The description for the frames compressed so far from frames of that size.
    virtual ImageDescription Description(int32_t width, int32_t height) const = 0;

    /// Creates a compressor for the settings; null if the codec is unknown.
    static std::unique_ptr<FrameCompressor> Create(const CompressionSettings& settings);
};

/// The description of frames like `frame` as the device delivers them; its bytes are not read. Colors other than the
/// default ones are stated.
ImageDescription DescriptionOfPassThrough(const RawFrame& frame);
/// The same for frames with the default colors.
ImageDescription DescriptionOfPassThrough(FourCharCode format, int32_t width, int32_t height);

/// A frame as the device delivers it: its bytes and the properties in the description, from which it borrows.
RawFrame FrameOfDescription(std::span<const uint8_t> bytes, const ImageDescription& description);

} // namespace platform
