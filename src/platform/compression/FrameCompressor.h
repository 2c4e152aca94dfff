// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/VideoColors.h"
#include "platform/memory/AddressSpace.h"

#include <memory>
#include <span>
#include <string>
#include <vector>

namespace platform {

/// A picture as a device delivers it, borrowed. `format` is a pixel format of `PixelFormat.h` with packed rows, or
/// a codec's code ("jpeg", "dvc ", ...) for a frame that the device has compressed itself.
struct RawFrame {
    std::span<const uint8_t> bytes;
    FourCharCode format = 0;
    int32_t width = 0;
    int32_t height = 0;
    VideoColors colors = {};                     ///< of luma and chroma; without meaning for RGB
    std::span<const uint8_t> configuration = {}; ///< of "avc1": the content of the description's "avcC" atom
};

inline constexpr int32_t kHighestQuality = 1024;

/// What a channel asks of its compressor. Qualities run from 0 to `kHighestQuality`, 512 is normal. The last four make
/// a difference to inter-frame compressors alone.
struct CompressionSettings {
    FourCharCode codec = CodeOf("jpeg");
    int32_t depth = 24;
    int32_t spatialQuality = 512;
    int32_t temporalQuality = 512; ///< of the frames between key frames
    int32_t keyFrameRate = 0;      ///< a key frame each so many frames; 0: as is usual
    int32_t dataRate = 0;          ///< bytes a second that aren't to be exceeded for longer than a second; 0: no limit
    double frameRate = 0;          ///< frames a second that are to be expected; 0: not known

    bool operator==(const CompressionSettings&) const = default;
};

struct CompressorName {
    FourCharCode codec;
    std::string name;          ///< readable, for people
    bool hasQuality = true;    ///< whether the spatial quality makes a difference
    bool hasAlpha = false;     ///< whether it stores 32 bits a pixel as well as 24
    bool isInterFrame = false; ///< whether key frames, temporal quality and data rate make a difference
};

/// The compressors that `FrameCompressor::Create` knows, the default first.
std::vector<CompressorName> AvailableCompressors();

/// Turns raw frames into frames of one codec. An object belongs to one thread at a time.
class FrameCompressor {
public:
    virtual ~FrameCompressor() = default;

    /// Compresses a frame into a block of the address space that the caller owns: its size is the frame's.
    /// A frame that the device compressed in another codec is decoded first. An empty block means that the frame could
    /// not be read.
    virtual OwnedBlock Compress(const RawFrame& frame) = 0;

    /// The description that goes with the frames compressed so far from frames of that size.
    virtual ImageDescription Description(int32_t width, int32_t height) const = 0;

    /// A compressor for the settings, or null when the codec is unknown.
    static std::unique_ptr<FrameCompressor> Create(const CompressionSettings& settings);
};

/// The description of frames like `frame`, whose bytes are not looked at, as the device delivers them. Colors other
/// than the usual ones are stated.
ImageDescription DescriptionOfPassThrough(const RawFrame& frame);
ImageDescription DescriptionOfPassThrough(FourCharCode format, int32_t width, int32_t height);

/// A frame as the device delivers it: its bytes, and what the description says, from which it borrows.
RawFrame FrameOfDescription(std::span<const uint8_t> bytes, const ImageDescription& description);

} // namespace platform
