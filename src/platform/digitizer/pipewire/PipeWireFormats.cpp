// SPDX-License-Identifier: MIT
#include "platform/digitizer/pipewire/PipeWireFormats.h"

#include "platform/digitizer/pipewire/PipeWirePods.h"
#include "platform/digitizer/v4l2/V4L2Pictures.h"
#include "platform/drawing/PixelFormat.h"

#include <algorithm>

namespace platform {
namespace {

constexpr std::pair<uint32_t, uint32_t> kFormats[] = {
    {SPA_VIDEO_FORMAT_YUY2, V4L2_PIX_FMT_YUYV},     {SPA_VIDEO_FORMAT_UYVY, V4L2_PIX_FMT_UYVY},
    {SPA_VIDEO_FORMAT_YVYU, V4L2_PIX_FMT_YVYU},     {SPA_VIDEO_FORMAT_VYUY, V4L2_PIX_FMT_VYUY},
    {SPA_VIDEO_FORMAT_NV12, V4L2_PIX_FMT_NV12},     {SPA_VIDEO_FORMAT_NV21, V4L2_PIX_FMT_NV21},
    {SPA_VIDEO_FORMAT_NV16, V4L2_PIX_FMT_NV16},     {SPA_VIDEO_FORMAT_I420, V4L2_PIX_FMT_YUV420},
    {SPA_VIDEO_FORMAT_YV12, V4L2_PIX_FMT_YVU420},   {SPA_VIDEO_FORMAT_RGB, V4L2_PIX_FMT_RGB24},
    {SPA_VIDEO_FORMAT_BGR, V4L2_PIX_FMT_BGR24},     {SPA_VIDEO_FORMAT_BGRx, V4L2_PIX_FMT_XBGR32},
    {SPA_VIDEO_FORMAT_BGRA, V4L2_PIX_FMT_ABGR32},   {SPA_VIDEO_FORMAT_xRGB, V4L2_PIX_FMT_XRGB32},
    {SPA_VIDEO_FORMAT_ARGB, V4L2_PIX_FMT_ARGB32},   {SPA_VIDEO_FORMAT_RGBx, V4L2_PIX_FMT_RGBX32},
    {SPA_VIDEO_FORMAT_RGBA, V4L2_PIX_FMT_RGBA32},   {SPA_VIDEO_FORMAT_xBGR, V4L2_PIX_FMT_BGRX32},
    {SPA_VIDEO_FORMAT_ABGR, V4L2_PIX_FMT_BGRA32},   {SPA_VIDEO_FORMAT_GRAY8, V4L2_PIX_FMT_GREY},
    {SPA_VIDEO_FORMAT_GRAY16_LE, V4L2_PIX_FMT_Y16},
};

// The values offered for a size or rate that is given as a range.
constexpr spa_rectangle kUsualSizes[] = {{320, 240},  {640, 360},  {640, 480},   {800, 600},
                                         {1280, 720}, {1280, 960}, {1920, 1080}, {3840, 2160}};
constexpr spa_fraction kUsualRates[] = {{60, 1}, {50, 1}, {30, 1}, {25, 1}, {15, 1}};
constexpr double kFastestRate = 1000;
constexpr size_t kMaxOffers = 2000;

bool IsBetween(const spa_rectangle& one, const spa_rectangle& minimum, const spa_rectangle& maximum)
{
    return one.width >= minimum.width && one.height >= minimum.height && one.width <= maximum.width &&
           one.height <= maximum.height;
}

double RateOf(const spa_fraction& fraction)
{
    return fraction.denom == 0 ? 0 : static_cast<double>(fraction.num) / fraction.denom;
}

bool IsBetween(const spa_fraction& one, const spa_fraction& minimum, const spa_fraction& maximum)
{
    return RateOf(one) >= RateOf(minimum) && RateOf(one) <= RateOf(maximum);
}

template <typename Value, size_t size>
std::vector<Value> ListOf(const PodChoice<Value>& choice, const Value (&usual)[size])
{
    if (!choice.isRange)
        return choice.values;
    std::vector<Value> values;
    std::ranges::copy_if(usual, std::back_inserter(values),
                         [&](const Value& one) { return IsBetween(one, choice.values[1], choice.values[2]); });
    values.push_back(choice.values[0]);
    values.push_back(choice.values[2]);
    return values;
}

std::vector<uint32_t> PixelFormatsOf(const spa_pod* parameter, uint32_t subtype)
{
    if (subtype == SPA_MEDIA_SUBTYPE_mjpg)
        return {V4L2_PIX_FMT_MJPEG};
    if (subtype == SPA_MEDIA_SUBTYPE_h264)
        return {V4L2_PIX_FMT_H264};
    std::vector<uint32_t> pixelFormats;
    if (subtype == SPA_MEDIA_SUBTYPE_raw)
        for (const uint32_t videoFormat : ReadChoice<uint32_t>(parameter, SPA_FORMAT_VIDEO_format, SPA_TYPE_Id).values)
            if (const uint32_t pixelFormat = PixelFormatOfVideoFormat(videoFormat); pixelFormat != 0)
                pixelFormats.push_back(pixelFormat);
    return pixelFormats;
}

uint32_t SubtypeOf(uint32_t pixelFormat)
{
    return pixelFormat == V4L2_PIX_FMT_MJPEG  ? SPA_MEDIA_SUBTYPE_mjpg
           : pixelFormat == V4L2_PIX_FMT_H264 ? SPA_MEDIA_SUBTYPE_h264
                                              : SPA_MEDIA_SUBTYPE_raw;
}

void AddOffer(uint32_t pixelFormat, const spa_rectangle& size, const spa_fraction& rate,
              std::vector<PipeWireNode::Offer>& offers)
{
    const CaptureFormat format{FormatOfPixelFormat(pixelFormat), static_cast<int32_t>(size.width),
                               static_cast<int32_t>(size.height), RateOf(rate)};
    const bool isUsable = IsPictureSize(size.width, size.height) && format.frameRate > 0 &&
                          format.frameRate < kFastestRate && offers.size() < kMaxOffers;
    if (isUsable && std::ranges::find(offers, format, &PipeWireNode::Offer::format) == offers.end())
        offers.push_back({format, pixelFormat, {rate.num, rate.denom}});
}

} // namespace

uint32_t PixelFormatOfVideoFormat(uint32_t videoFormat)
{
    const auto* known = std::ranges::find(kFormats, videoFormat, &std::pair<uint32_t, uint32_t>::first);
    return known == std::end(kFormats) ? 0 : known->second;
}

uint32_t VideoFormatOfPixelFormat(uint32_t pixelFormat)
{
    const auto* known = std::ranges::find(kFormats, pixelFormat, &std::pair<uint32_t, uint32_t>::second);
    return known == std::end(kFormats) ? 0 : known->first;
}

void AddOffers(const spa_pod* parameter, std::vector<PipeWireNode::Offer>& offers)
{
    uint32_t mediaType = 0;
    uint32_t subtype = 0;
    if (spa_format_parse(parameter, &mediaType, &subtype) < 0 || mediaType != SPA_MEDIA_TYPE_video)
        return;
    const auto sizes =
        ListOf(ReadChoice<spa_rectangle>(parameter, SPA_FORMAT_VIDEO_size, SPA_TYPE_Rectangle), kUsualSizes);
    auto rates =
        ListOf(ReadChoice<spa_fraction>(parameter, SPA_FORMAT_VIDEO_framerate, SPA_TYPE_Fraction), kUsualRates);
    if (rates.empty())
        rates.push_back({30, 1});
    std::ranges::sort(rates, std::greater(), RateOf);
    for (const uint32_t pixelFormat : PixelFormatsOf(parameter, subtype))
        for (const spa_rectangle& size : sizes)
            for (const spa_fraction& rate : rates)
                AddOffer(pixelFormat, size, rate, offers);
}

const spa_pod* BuildFormat(spa_pod_builder& builder, const PipeWireNode::Offer& offer)
{
    const uint32_t subtype = SubtypeOf(offer.pixelFormat);
    const spa_rectangle size{static_cast<uint32_t>(offer.format.width), static_cast<uint32_t>(offer.format.height)};
    const spa_fraction rate{offer.rate.first, offer.rate.second};
    spa_pod_frame frame{};
    spa_pod_builder_push_object(&builder, &frame, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat);
    spa_pod_builder_add(&builder, SPA_FORMAT_mediaType, SPA_POD_Id(SPA_MEDIA_TYPE_video), SPA_FORMAT_mediaSubtype,
                        SPA_POD_Id(subtype), 0);
    if (subtype == SPA_MEDIA_SUBTYPE_raw)
        spa_pod_builder_add(&builder, SPA_FORMAT_VIDEO_format, SPA_POD_Id(VideoFormatOfPixelFormat(offer.pixelFormat)),
                            0);
    spa_pod_builder_add(&builder, SPA_FORMAT_VIDEO_size, SPA_POD_Rectangle(&size), SPA_FORMAT_VIDEO_framerate,
                        SPA_POD_Fraction(&rate), 0);
    return static_cast<const spa_pod*>(spa_pod_builder_pop(&builder, &frame));
}

} // namespace platform
