// SPDX-License-Identifier: MIT
#include "platform/compression/CodecTags.h"

#include <algorithm>

namespace platform {
namespace {

constexpr CodecTag kTags[] = {
    {CodeOf("jpeg"), AV_CODEC_ID_MJPEG, "Photo JPEG"},
    {CodeOf("mjpa"), AV_CODEC_ID_MJPEG, "Motion JPEG A"},
    {CodeOf("mjpb"), AV_CODEC_ID_MJPEGB, "Motion JPEG B"},
    {CodeOf("mjp2"), AV_CODEC_ID_JPEG2000, "JPEG 2000"},
    {CodeOf("png "), AV_CODEC_ID_PNG, "PNG"},
    {CodeOf("tiff"), AV_CODEC_ID_TIFF, "TIFF"},
    {CodeOf("tga "), AV_CODEC_ID_TARGA, "Targa"},
    {CodeOf("gif "), AV_CODEC_ID_GIF, "GIF"},
    {CodeOf("dvc "), AV_CODEC_ID_DVVIDEO, "DV NTSC"},
    {CodeOf("dvcp"), AV_CODEC_ID_DVVIDEO, "DV PAL"},
    {CodeOf("dvpp"), AV_CODEC_ID_DVVIDEO, "DVCPRO PAL"},
    {CodeOf("dv5n"), AV_CODEC_ID_DVVIDEO, "DVCPRO50 NTSC"},
    {CodeOf("dv5p"), AV_CODEC_ID_DVVIDEO, "DVCPRO50 PAL"},
    {CodeOf("dvh2"), AV_CODEC_ID_DVVIDEO, "DVCPRO HD 1080i60"},
    {CodeOf("dvh3"), AV_CODEC_ID_DVVIDEO, "DVCPRO HD 1080i50"},
    {CodeOf("dvh5"), AV_CODEC_ID_DVVIDEO, "DVCPRO HD 1080i50"},
    {CodeOf("dvh6"), AV_CODEC_ID_DVVIDEO, "DVCPRO HD 1080i60"},
    {CodeOf("dvhp"), AV_CODEC_ID_DVVIDEO, "DVCPRO HD 720p60"},
    {CodeOf("dvhq"), AV_CODEC_ID_DVVIDEO, "DVCPRO HD 720p50"},
    {CodeOf("apco"), AV_CODEC_ID_PRORES, "ProRes 422 Proxy"},
    {CodeOf("apcs"), AV_CODEC_ID_PRORES, "ProRes 422 LT"},
    {CodeOf("apcn"), AV_CODEC_ID_PRORES, "ProRes 422"},
    {CodeOf("apch"), AV_CODEC_ID_PRORES, "ProRes 422 HQ"},
    {CodeOf("ap4h"), AV_CODEC_ID_PRORES, "ProRes 4444"},
    {CodeOf("ap4x"), AV_CODEC_ID_PRORES, "ProRes 4444 XQ"},
    {CodeOf("AVdn"), AV_CODEC_ID_DNXHD, "DNxHD"},
    {CodeOf("AVdh"), AV_CODEC_ID_DNXHD, "DNxHR"},
    {CodeOf("avc1"), AV_CODEC_ID_H264, "H.264"},
    {CodeOf("avc3"), AV_CODEC_ID_H264, "H.264"},
    {CodeOf("hvc1"), AV_CODEC_ID_HEVC, "HEVC"},
    {CodeOf("hev1"), AV_CODEC_ID_HEVC, "HEVC"},
    {CodeOf("mp4v"), AV_CODEC_ID_MPEG4, "MPEG-4 Video"},
    {CodeOf("h263"), AV_CODEC_ID_H263, "H.263"},
    {CodeOf("mp1v"), AV_CODEC_ID_MPEG1VIDEO, "MPEG-1 Video"},
    {CodeOf("m2v1"), AV_CODEC_ID_MPEG2VIDEO, "MPEG-2 Video"},
    {CodeOf("SVQ1"), AV_CODEC_ID_SVQ1, "Sorenson Video"},
    {CodeOf("cvid"), AV_CODEC_ID_CINEPAK, "Cinepak"},
    {CodeOf("rle "), AV_CODEC_ID_QTRLE, "Animation"},
    {CodeOf("rpza"), AV_CODEC_ID_RPZA, "Video"},
    {CodeOf("8BPS"), AV_CODEC_ID_8BPS, "Planar RGB"},
    {CodeOf("v210"), AV_CODEC_ID_V210, "Uncompressed 10-bit 4:2:2"},
    {CodeOf("v308"), AV_CODEC_ID_V308, "Uncompressed 4:4:4"},
    {CodeOf("v408"), AV_CODEC_ID_V408, "Uncompressed 4:4:4:4"},
    {CodeOf("v410"), AV_CODEC_ID_V410, "Uncompressed 10-bit 4:4:4"},
    {CodeOf("r210"), AV_CODEC_ID_R210, "Uncompressed 10-bit RGB"},
    {CodeOf("FFV1"), AV_CODEC_ID_FFV1, "FFV1"},
    {CodeOf("icod"), AV_CODEC_ID_AIC, "Intermediate Codec"},
};

} // namespace

const CodecTag* FindCodecTag(FourCharCode code)
{
    const auto* found = std::ranges::find(kTags, code, &CodecTag::code);
    return found == std::end(kTags) ? nullptr : found;
}

} // namespace platform
