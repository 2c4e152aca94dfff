// SPDX-License-Identifier: MIT
#include "platform/compression/FrameReader.h"

#include <algorithm>

namespace platform {
namespace {

// A picture with packed 32-bit rows in a block that is reused as long as it is large enough.
std::optional<RawPicture> PictureIn32(OwnedBlock& block, int32_t width, int32_t height)
{
    const int64_t needed = PackedImageSize(kPixelFormat32, width, height);
    if (needed == 0)
        return std::nullopt;
    if (block.Size() < needed)
        block = OwnedBlock(needed);
    return PictureIn(block.Bytes(), kPixelFormat32, width, height);
}

uint8_t* WritablePixels(const OwnedBlock& block)
{
    return PointerAt<uint8_t>(block.Get());
}

} // namespace

VideoColors ColorsAsPlanes(const RawFrame& frame)
{
    return HasChroma(frame.format) ? frame.colors : InLimited601(frame.colors);
}

std::optional<RawPicture> FrameReader::Read(const RawFrame& frame)
{
    auto picture = PictureIn(frame.bytes, frame.format, frame.width, frame.height);
    if (!picture && PackedRowBytes(frame.format, 1) == 0)
        picture = DecodeCompressed(frame);
    if (picture)
        picture->colors = ColorsAsPlanes(frame);
    return picture;
}

std::optional<RawPicture> FrameReader::As32(const RawPicture& picture)
{
    if (picture.layout == kPixelFormat32)
        return picture;
    const auto target = PictureIn32(converted, picture.width, picture.height);
    if (target)
        ConvertTo32(picture, WritablePixels(converted), target->rowBytes);
    return target;
}

std::optional<RawPicture> FrameReader::DecodeCompressed(const RawFrame& frame)
{
    const auto target = PictureIn32(decoded, frame.width, frame.height);
    if (!target)
        return std::nullopt;
    if (!decoder || frame.format != decodedShape.format || frame.width != decodedShape.width ||
        frame.height != decodedShape.height || frame.colors != decodedShape.colors) {
        decoder = FrameDecoder::Create(DescriptionOfPassThrough(frame));
        decodedShape = {{}, frame.format, frame.width, frame.height, frame.colors};
    }
    PortPixels pixels;
    pixels.pixels = WritablePixels(decoded);
    pixels.rowBytes = target->rowBytes;
    pixels.width = frame.width;
    pixels.height = frame.height;
    return decoder && decoder->Decode(frame.bytes, pixels) == noErr ? target : std::nullopt;
}

OwnedBlock BlockOf(std::span<const uint8_t> bytes)
{
    OwnedBlock block(static_cast<int64_t>(bytes.size()));
    if (block.Get() != 0)
        std::ranges::copy(bytes, block.Bytes().begin());
    return block;
}

} // namespace platform
