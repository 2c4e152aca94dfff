// SPDX-License-Identifier: MIT
// Decoding JPEG with TurboJPEG, directly into the target's rows if the library can reduce to its size. Frames that are
// shown at half their size or less are decoded by `ReducedJpeg` if it supports them.
//
// Cameras deliver frames without the usual Huffman tables; the library then inserts them. It also keeps tables from one
// frame to the next, which would let a corrupted frame spoil later ones: after any frame with an error or warning the
// decompressor is created again.
//
// A frame whose fields are two JPEGs of half height is left to libavcodec, which interleaves them.
#include "platform/compression/JpegDecoder.h"

#include "platform/compression/CodecDecoder.h"
#include "platform/compression/ReducedJpeg.h"
#include "platform/compression/VideoColors.h"
#include "platform/log/Log.h"

#include <algorithm>
#include <array>
#include <turbojpeg.h>

namespace platform {
namespace {

struct TurboDeleter {
    void operator()(void* handle) const { tjDestroy(handle); }
};
using TurboOwner = std::unique_ptr<void, TurboDeleter>;

constexpr uint8_t kMarker = 0xFF;
constexpr uint8_t kStartOfScan = 0xDA;

// The marker of the first frame header, which names the coding process of the whole picture. Walks the segments as the
// decoder does. 0 if there is none.
uint8_t FrameHeaderOf(std::span<const uint8_t> jpeg)
{
    size_t at = 0;
    while (at + 3 < jpeg.size()) {
        const uint8_t code = jpeg[at + 1];
        const bool isMarker = jpeg[at] == kMarker && code != 0 && code != kMarker;
        const bool standsAlone = code == 0x01 || (code >= 0xD0 && code <= 0xD8);
        if (!isMarker) {
            ++at;
        } else if (standsAlone) {
            at += 2;
        } else {
            const bool isTable = code == 0xC4 || code == 0xC8 || code == 0xCC;
            if (code >= 0xC0 && code <= 0xCF && !isTable)
                return code;
            if (code == kStartOfScan)
                return 0;
            at += 2 + size_t{jpeg[at + 2]} * 256 + jpeg[at + 3];
        }
    }
    return 0;
}

} // namespace

bool HasTooManyScans(std::span<const uint8_t> jpeg)
{
    constexpr uint8_t kProgressive = 0xC2;
    constexpr uint8_t kProgressiveArithmetic = 0xCA;
    constexpr int kMaxScans = 50;
    const uint8_t header = FrameHeaderOf(jpeg);
    if (header != kProgressive && header != kProgressiveArithmetic)
        return false;
    int scans = 0;
    for (size_t at = 0; at + 1 < jpeg.size(); ++at)
        scans += jpeg[at] == kMarker && jpeg[at + 1] == kStartOfScan ? 1 : 0;
    return scans > kMaxScans;
}

namespace {

class JpegDecoder : public FrameDecoder {
public:
    explicit JpegDecoder(const ImageDescription& description) : description(description) {}

    Result Decode(std::span<const uint8_t> frame, const PortPixels& target) override
    {
        if (target.width > description.width || target.height > description.height)
            return paramErr;
        if (!turbo)
            turbo.reset(tjInitDecompress());
        if (!turbo)
            return memFullErr;
        int width = 0, height = 0, sampling = 0, colors = 0;
        // The library does not treat a frame that ends before its header as an error: it could consist of tables only.
        if (frame.empty() ||
            tjDecompressHeader3(turbo.get(), frame.data(), frame.size(), &width, &height, &sampling, &colors) != 0 ||
            width < 1) {
            turbo.reset();
            return codecBadDataErr;
        }
        if (width == description.width && height != description.height && (description.height + 1) / 2 == height)
            return DecodeFields(frame, target);
        if (width != description.width || height != description.height)
            return codecSizeErr;
        if (HasTooManyScans(frame))
            return codecBadDataErr;
        return DecodePicture(frame, target);
    }

    bool CanReduce() const override { return true; }

private:
    // The library can reduce by powers of two for less work. The rest is scaled afterwards.
    Result DecodePicture(std::span<const uint8_t> frame, const PortPixels& target)
    {
        tjscalingfactor scale{1, 1};
        for (const int factor : {2, 4, 8})
            if (const tjscalingfactor smaller{1, factor}; TJSCALED(description.width, smaller) >= target.width &&
                                                          TJSCALED(description.height, smaller) >= target.height)
                scale = smaller;
        const int width = TJSCALED(description.width, scale);
        const int height = TJSCALED(description.height, scale);
        if (scale.denom > 1 && DecodeReduced(frame, scale.denom, target))
            return noErr;
        if (width == target.width && height == target.height)
            return DecodePixels(frame, target);
        if (larger.pixels.width != width || larger.pixels.height != height)
            larger = PictureBlock::Make(width, height);
        const Result result = larger.pixels.width == 0 ? memFullErr : DecodePixels(frame, larger.pixels);
        if (result == noErr)
            ScaleTo(larger.pixels, target);
        return result;
    }

    // False for frames that only the library decodes.
    bool DecodeReduced(std::span<const uint8_t> frame, int32_t factor, const PortPixels& target)
    {
        const auto picture = reduced.Decode(frame, description.width, description.height, factor);
        if (picture)
            conversion.Draw(*picture, ConstantsOf({.matrix = 6, .isFullRange = true}), target);
        return picture.has_value();
    }

    Result DecodePixels(std::span<const uint8_t> frame, const PortPixels& target)
    {
        return Conclude(tjDecompress2(turbo.get(), frame.data(), frame.size(), target.pixels, target.width,
                                      target.rowBytes, target.height, TJPF_BGRA, JpegDecodingFlags()));
    }

    Result Conclude(int answer)
    {
        if (answer == 0)
            return noErr;
        // A warning means that all rows are there, though some are damaged.
        const bool hasPicture = tjGetErrorCode(turbo.get()) == TJERR_WARNING;
        compressionLog.Debug("JPEG: decode: ", tjGetErrorStr2(turbo.get()));
        turbo.reset();
        return hasPicture ? noErr : codecBadDataErr;
    }

    Result DecodeFields(std::span<const uint8_t> frame, const PortPixels& target)
    {
        if (!fields)
            fields = MakeCodecDecoder(description);
        return fields ? fields->Decode(frame, target) : codecBadDataErr;
    }

    ImageDescription description;
    TurboOwner turbo;
    ReducedJpeg reduced;
    ReducedConversion conversion;
    PictureBlock larger; ///< a picture before the final scaling
    std::unique_ptr<FrameDecoder> fields;
};

} // namespace

std::unique_ptr<FrameDecoder> MakeJpegDecoder(const ImageDescription& description)
{
    return std::make_unique<JpegDecoder>(description);
}

int JpegDecodingFlags()
{
    return TJFLAG_FASTUPSAMPLE | TJFLAG_FASTDCT | TJFLAG_LIMITSCANS;
}

} // namespace platform
