// SPDX-License-Identifier: MIT
#include "platform/compression/FrameDecoder.h"

#include "platform/compression/CodecDecoder.h"
#include "platform/compression/JpegDecoder.h"
#include "platform/compression/RawPictures.h"

namespace platform {
namespace {

class RawDecoder : public FrameDecoder {
public:
    explicit RawDecoder(const ImageDescription& description) : description(description) {}

    Result Decode(std::span<const uint8_t> frame, const PortPixels& target) override
    {
        if (target.width != description.width || target.height != description.height)
            return paramErr;
        const auto picture =
            PictureIn(frame, LayoutOf(description), description.width, description.height, description.rowBytes);
        if (!picture)
            return codecBadDataErr;
        ConvertTo32(*picture, target.pixels, target.rowBytes);
        return noErr;
    }

private:
    ImageDescription description;
};

} // namespace

std::unique_ptr<FrameDecoder> FrameDecoder::Create(const ImageDescription& description)
{
    if (description.codec == CodeOf("jpeg") || description.codec == CodeOf("mjpa"))
        return MakeJpegDecoder(description);
    if (LayoutOf(description) != 0)
        return std::make_unique<RawDecoder>(description);
    return MakeCodecDecoder(description);
}

} // namespace platform
