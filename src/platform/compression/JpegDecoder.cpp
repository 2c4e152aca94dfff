// SPDX-License-Identifier: MIT
// Decoding JPEG by TurboJPEG, straight into the target's rows where that has a size to which the library reduces.
//
// Cameras deliver frames in which the usual Huffman tables are left out; the library then puts the usual ones in. It
// also keeps tables from one frame to the next, which would let one corrupted frame spoil the later ones: after any
// frame with an error or warning the decompressor is made anew.
//
// A frame whose fields are two JPEGs of half height is left to libavcodec, which weaves them.
#include "platform/compression/JpegDecoder.h"

#include "platform/compression/CodecDecoder.h"
#include "platform/compression/ReducedConversion.h"
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

// The encoding's first frame header: where the coding process of the whole picture is named. Walks the segments as
// the decoder does. 0 where there is none.
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
    constexpr int kMostScans = 50;
    const uint8_t header = FrameHeaderOf(jpeg);
    if (header != kProgressive && header != kProgressiveArithmetic)
        return false;
    int scans = 0;
    for (size_t at = 0; at + 1 < jpeg.size(); ++at)
        scans += jpeg[at] == kMarker && jpeg[at + 1] == kStartOfScan ? 1 : 0;
    return scans > kMostScans;
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
        const auto size = static_cast<unsigned long>(frame.size());
        // A frame that ends before its header is no error to the library: it takes it for tables alone.
        if (frame.empty() ||
            tjDecompressHeader3(turbo.get(), frame.data(), size, &width, &height, &sampling, &colors) != 0 ||
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
    // The library reduces by powers of two for less work. What is left to do after that is scaled.
    Result DecodePicture(std::span<const uint8_t> frame, const PortPixels& target)
    {
        tjscalingfactor scale{1, 1};
        for (const int factor : {2, 4, 8})
            if (const tjscalingfactor smaller{1, factor}; TJSCALED(description.width, smaller) >= target.width &&
                                                          TJSCALED(description.height, smaller) >= target.height)
                scale = smaller;
        const int width = TJSCALED(description.width, scale);
        const int height = TJSCALED(description.height, scale);
        if (width == target.width && height == target.height)
            return DecodePixels(frame, target);
        if (larger.pixels.width != width || larger.pixels.height != height)
            larger = PictureBlock::Make(width, height);
        const Result result = larger.pixels.width == 0 ? memFullErr : DecodePixels(frame, larger.pixels);
        if (result == noErr)
            ScaleTo(larger.pixels, target);
        return result;
    }

    Result DecodePixels(std::span<const uint8_t> frame, const PortPixels& target)
    {
        return Conclude(tjDecompress2(turbo.get(), frame.data(), static_cast<unsigned long>(frame.size()),
                                      target.pixels, target.width, target.rowBytes, target.height, TJPF_BGRA,
                                      JpegDecodingFlags()));
    }

    Result Conclude(int answer)
    {
        if (answer == 0)
            return noErr;
        // A warning means that all rows are there, though some are not what they were.
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
    PictureBlock larger; ///< a picture that is still to be scaled
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
