// SPDX-License-Identifier: MIT
#include "platform/compression/DecodedPicture.h"

namespace platform {

int32_t ReductionFor(double scale)
{
    if (scale <= 0)
        return 1;
    for (const int32_t factor : {8, 4, 2})
        if (scale * factor <= 1)
            return factor;
    return 1;
}

Result PictureDecoder::Prepare(const ImageDescription& description)
{
    const bool isSame = decoder && decoded.codec == description.codec && decoded.depth == description.depth &&
                        decoded.width == description.width && decoded.height == description.height &&
                        decoded.rowBytes == description.rowBytes;
    if (!isSame) {
        decoder = FrameDecoder::Create(description);
        decoded = description;
    }
    return decoder ? noErr : noCodecErr;
}

Result PictureDecoder::Decode(SharedFrame frame, const ImageDescription& description, int32_t reduction,
                              std::unique_ptr<DecodedPicture>& made)
{
    if (const Result result = Prepare(description); result != noErr)
        return result;
    PictureBlock picture;
    const int32_t factor = decoder->CanReduce() ? reduction : 1;
    Result result = DecodeReduced(frame, factor, picture);
    // The fields of an interlaced frame are woven at full size only.
    if (result != noErr && factor > 1)
        result = DecodeReduced(frame, 1, picture);
    if (result == noErr)
        made = std::make_unique<DecodedPicture>(DecodedPicture{std::move(picture), std::move(frame), description});
    return result;
}

Result PictureDecoder::DecodeReduced(const SharedFrame& frame, int32_t factor, PictureBlock& picture)
{
    picture = PictureBlock::Make(ReducedSide(decoded.width, factor), ReducedSide(decoded.height, factor));
    return picture.pixels.width == 0 ? memFullErr : decoder->Decode(frame.bytes, picture.pixels);
}

Result PictureDecoder::DecodeWhole(const SharedFrame& frame, const ImageDescription& description,
                                   const PortPixels& target)
{
    const auto decoder = FrameDecoder::Create(description);
    return decoder ? decoder->Decode(frame.bytes, target) : noCodecErr;
}

} // namespace platform
