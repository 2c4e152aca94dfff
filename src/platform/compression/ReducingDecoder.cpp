// SPDX-License-Identifier: MIT
#include "platform/compression/ReducingDecoder.h"

#include <algorithm>

namespace platform {

Result ReducingDecoder::Prepare(const ImageDescription& description)
{
    if (!decoder || !IsDecodedAlike(decoded, description)) {
        decoder = FrameDecoder::Create(description);
        decoded = description;
    }
    return decoder ? noErr : noCodecErr;
}

Result ReducingDecoder::Decode(SharedFrame frame, const ImageDescription& description, const ShownSize& shown,
                               std::unique_ptr<DecodedPicture>& made)
{
    if (const Result result = Prepare(description); result != noErr)
        return result;
    PictureBlock picture;
    const int32_t width = std::clamp(shown.width, 1, decoded.width);
    const int32_t height = std::clamp(shown.height, 1, decoded.height);
    const bool reduces = decoder->CanReduce() && (width < decoded.width || height < decoded.height);
    Result result = reduces ? DecodeAt(frame, width, height, picture) : codecSizeErr;
    // Some frames can only be decoded at full size.
    if (result != noErr)
        result = DecodeAt(frame, decoded.width, decoded.height, picture);
    if (result == noErr)
        made = std::make_unique<DecodedPicture>(DecodedPicture{std::move(picture), std::move(frame), description});
    return result;
}

Result ReducingDecoder::DecodeAt(const SharedFrame& frame, int32_t width, int32_t height, PictureBlock& picture)
{
    picture = PictureBlock::Make(width, height);
    return picture.pixels.width == 0 ? memFullErr : decoder->Decode(frame.bytes, picture.pixels);
}

Result ReducingDecoder::DecodeWhole(const SharedFrame& frame, const ImageDescription& description,
                                    const PortPixels& target)
{
    const auto decoder = FrameDecoder::Create(description);
    return decoder ? decoder->Decode(frame.bytes, target) : noCodecErr;
}

} // namespace platform
