// SPDX-License-Identifier: MIT
#include "platform/compression/FrameDecoder.h"

#include "platform/compression/CodecDecoder.h"
#include "platform/compression/JpegDecoder.h"
#include "platform/compression/RawPictures.h"

namespace platform {
namespace {

class RawDecoder : public FrameDecoder {
public:
    explicit RawDecoder(const ImageDescription& description) : description(description), colors(ColorsIn(description))
    {
    }

    Result Decode(std::span<const uint8_t> frame, const PortPixels& target) override
    {
        if (target.width > description.width || target.height > description.height)
            return paramErr;
        auto picture =
            PictureIn(frame, LayoutOf(description), description.width, description.height, description.rowBytes);
        if (!picture)
            return codecBadDataErr;
        picture->colors = colors;
        if (target.width == description.width && target.height == description.height)
            ConvertTo32(*picture, target.pixels, target.rowBytes);
        else
            return Reduce(*picture, target);
        return noErr;
    }

    bool CanReduce() const override { return true; }

private:
    Result Reduce(const RawPicture& picture, const PortPixels& target)
    {
        if (const auto planar = AsPlanes(picture, planes)) {
            reduction.Draw(*planar, ConstantsOf(colors), target);
            return noErr;
        }
        const auto whole = PictureBlock::Make(picture.width, picture.height);
        if (whole.pixels.width == 0)
            return memFullErr;
        ConvertTo32(picture, whole.pixels.pixels, whole.pixels.rowBytes);
        ScaleTo(whole.pixels, target);
        return noErr;
    }

    ImageDescription description;
    VideoColors colors;
    std::vector<uint8_t> planes;
    ReducedConversion reduction;
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
