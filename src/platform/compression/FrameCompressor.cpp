// SPDX-License-Identifier: MIT
#include "platform/compression/FrameCompressor.h"

#include "platform/compression/CodecCompressor.h"
#include "platform/compression/CodecTags.h"
#include "platform/compression/Ffv1Compressor.h"
#include "platform/compression/InterFrameCompressor.h"
#include "platform/compression/JpegCompressor.h"
#include "platform/compression/KeyFrames.h"
#include "platform/compression/RawCompressor.h"
#include "platform/compression/RawPictures.h"

#include <algorithm>

namespace platform {
namespace {

using Maker = std::unique_ptr<FrameCompressor> (*)(const CompressionSettings&);

struct Entry {
    FourCharCode codec;
    const char* name;
    Maker make;
    bool hasQuality = false;
    bool hasAlpha = false;
};

// In the order in which dialogs list them.
constexpr Entry kCompressors[] = {
    {CodeOf("jpeg"), "Photo JPEG", MakeJpegCompressor, true},
    {CodeOf("avc1"), "H.264", MakeInterFrameCompressor, true},
    {CodeOf("hvc1"), "HEVC", MakeInterFrameCompressor, true},
    {CodeOf("png "), "PNG", MakeCodecCompressor},
    {CodeOf("apco"), "ProRes 422 Proxy", MakeCodecCompressor, true},
    {CodeOf("apcs"), "ProRes 422 LT", MakeCodecCompressor, true},
    {CodeOf("apcn"), "ProRes 422", MakeCodecCompressor, true},
    {CodeOf("apch"), "ProRes 422 HQ", MakeCodecCompressor, true},
    {CodeOf("dvc "), "DV", MakeCodecCompressor},
    {CodeOf("FFV1"), "FFV1 (lossless)", MakeFfv1Compressor},
    {CodeOf("2vuy"), "Uncompressed YUV 4:2:2", MakeRawCompressor},
    {CodeOf("yuvs"), "Uncompressed YUV 4:2:2 (luma first)", MakeRawCompressor},
    {CodeOf("raw "), "Uncompressed RGB", MakeRawCompressor, false, true},
};

} // namespace

std::vector<CompressorName> AvailableCompressors()
{
    std::vector<CompressorName> names;
    for (const Entry& entry : kCompressors)
        if (FrameCompressor::Create({.codec = entry.codec}))
            names.push_back({entry.codec, entry.name, entry.hasQuality, entry.hasAlpha, IsInterFrame(entry.codec)});
    return names;
}

std::unique_ptr<FrameCompressor> FrameCompressor::Create(const CompressionSettings& settings)
{
    const auto* entry = std::ranges::find(kCompressors, settings.codec, &Entry::codec);
    return entry == std::end(kCompressors) ? nullptr : entry->make(settings);
}

ImageDescription DescriptionOfPassThrough(const RawFrame& frame)
{
    if (PackedRowBytes(frame.format, 1) != 0)
        return DescriptionOfLayout(frame.format, frame.width, frame.height, frame.colors);
    ImageDescription description;
    description.codec = frame.format;
    description.width = frame.width;
    description.height = frame.height;
    const CodecTag* tag = FindCodecTag(frame.format);
    description.name = tag == nullptr ? TextOf(frame.format) : std::string(tag->name);
    if (!frame.configuration.empty())
        AppendExtension(description, CodeOf("avcC"), frame.configuration);
    if (frame.colors != VideoColors())
        AppendColors(description, frame.colors);
    return description;
}

ImageDescription DescriptionOfPassThrough(FourCharCode format, int32_t width, int32_t height)
{
    return DescriptionOfPassThrough({{}, format, width, height});
}

RawFrame FrameOfDescription(std::span<const uint8_t> bytes, const ImageDescription& description)
{
    const FourCharCode layout = LayoutOf(description);
    return {bytes,
            layout == 0 ? description.codec : layout,
            description.width,
            description.height,
            ColorsIn(description),
            FindAtom(description.extensions, CodeOf("avcC")).value_or(std::span<const uint8_t>())};
}

} // namespace platform
