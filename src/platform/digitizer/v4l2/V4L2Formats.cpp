// SPDX-License-Identifier: MIT
#include "platform/digitizer/v4l2/V4L2Formats.h"

#include "platform/digitizer/FrameGrid.h"
#include "platform/digitizer/v4l2/V4L2Pictures.h"
#include "platform/drawing/PixelFormat.h"

#include <cerrno>
#include <cmath>

namespace platform {
namespace {

// The values offered for a device that reports a range.
constexpr std::pair<uint32_t, uint32_t> kUsualSizes[] = {
    {160, 120}, {176, 144},  {320, 240},  {352, 288},  {640, 360},   {640, 480},   {720, 480},   {720, 576},
    {800, 600}, {1024, 768}, {1280, 720}, {1280, 960}, {1600, 1200}, {1920, 1080}, {2560, 1440}, {3840, 2160},
};
constexpr double kUsualRates[] = {120, 60, 59.94, 50, 30, 29.97, 25, 24, 20, 15, 10, 5};

// Limits the enumeration for drivers whose list never ends.
constexpr uint32_t kMaxEntries = 256;

struct Size {
    uint32_t width = 0;
    uint32_t height = 0;

    bool operator==(const Size&) const = default;
};

bool IsUsable(Size size)
{
    return IsPictureSize(size.width, size.height);
}

double RateOf(const v4l2_fract& interval)
{
    return interval.numerator == 0 ? 0 : static_cast<double>(interval.denominator) / interval.numerator;
}

// Whether an interval between two bounds belongs to a rate.
bool Spans(const v4l2_frmival_stepwise& range, double rate)
{
    const double fastest = RateOf(range.min);
    const double slowest = RateOf(range.max);
    return rate <= fastest + 0.001 && rate >= slowest - 0.001;
}

bool Fits(uint32_t value, uint32_t minimum, uint32_t maximum, uint32_t step)
{
    return value >= minimum && value <= maximum && (step <= 1 || (value - minimum) % step == 0);
}

// The device's present size, if it has that pixel format at present.
std::optional<Size> PresentSize(const V4L2Device& device, uint32_t pixelFormat)
{
    V4L2Layout present;
    if (device.Layout(VIDIOC_G_FMT, present) != 0 || (pixelFormat != 0 && present.pixelFormat != pixelFormat))
        return std::nullopt;
    return Size{present.width, static_cast<uint32_t>(PictureHeight(present))};
}

void Add(std::vector<Size>& sizes, Size size)
{
    if (IsUsable(size) && std::ranges::find(sizes, size) == sizes.end())
        sizes.push_back(size);
}

// Finds sizes by trial, for drivers that can't list them.
std::vector<Size> TrySizes(const V4L2Device& device, uint32_t pixelFormat)
{
    std::vector<Size> sizes;
    for (const auto& [width, height] : kUsualSizes) {
        V4L2Layout tried{.pixelFormat = pixelFormat, .width = width, .height = height};
        if (device.Layout(VIDIOC_TRY_FMT, tried) == 0 && tried.pixelFormat == pixelFormat && tried.width == width &&
            PictureHeight(tried) == static_cast<int32_t>(height))
            Add(sizes, {width, height});
    }
    if (const auto present = PresentSize(device, sizes.empty() ? 0 : pixelFormat))
        Add(sizes, *present);
    return sizes;
}

// Values from a range: the usual sizes, its maximum, and the device's present size.
std::vector<Size> SizesIn(const v4l2_frmsize_stepwise& range, const V4L2Device& device, uint32_t pixelFormat)
{
    std::vector<Size> sizes;
    const auto fits = [&](Size size) {
        return Fits(size.width, range.min_width, range.max_width, range.step_width) &&
               Fits(size.height, range.min_height, range.max_height, range.step_height);
    };
    for (const auto& [width, height] : kUsualSizes)
        if (fits({width, height}))
            Add(sizes, {width, height});
    if (const auto present = PresentSize(device, pixelFormat); present && fits(*present))
        Add(sizes, *present);
    Add(sizes, {range.max_width, range.max_height});
    return sizes;
}

std::vector<Size> SizesOf(const V4L2Device& device, uint32_t pixelFormat)
{
    std::vector<Size> sizes;
    for (uint32_t i = 0; i < kMaxEntries; ++i) {
        v4l2_frmsizeenum entry{};
        entry.index = i;
        entry.pixel_format = pixelFormat;
        if (device.Ioctl(VIDIOC_ENUM_FRAMESIZES, entry) != 0)
            return i == 0 ? TrySizes(device, pixelFormat) : sizes;
        if (entry.type != V4L2_FRMSIZE_TYPE_DISCRETE)
            return SizesIn(entry.stepwise, device, pixelFormat);
        Add(sizes, {entry.discrete.width, entry.discrete.height});
    }
    return sizes;
}

std::optional<double> PresentRate(const V4L2Device& device)
{
    v4l2_streamparm parameters{};
    parameters.type = device.BufferType();
    if (device.Ioctl(VIDIOC_G_PARM, parameters) != 0)
        return std::nullopt;
    const double rate = RateOf(parameters.parm.capture.timeperframe);
    return rate > 0 ? std::optional(rate) : std::nullopt;
}

// The rate of a device that lists none: that of its television standard or signal, of its present setting, or the usual
// one.
double OnlyRate(const V4L2Device& device)
{
    v4l2_std_id standard = 0;
    if (device.Ioctl(VIDIOC_G_STD, standard) == 0 && standard != 0)
        return (standard & V4L2_STD_625_50) != 0 ? 25 : 29.97;
    v4l2_dv_timings timings{};
    if (device.Ioctl(VIDIOC_G_DV_TIMINGS, timings) == 0 && timings.type == V4L2_DV_BT_656_1120) {
        const v4l2_bt_timings& signal = timings.bt;
        const auto pixels = static_cast<double>(V4L2_DV_BT_FRAME_WIDTH(&signal)) * V4L2_DV_BT_FRAME_HEIGHT(&signal);
        if (pixels > 0 && signal.pixelclock > 0)
            return static_cast<double>(signal.pixelclock) / pixels;
    }
    return PresentRate(device).value_or(30);
}

// Values from a range: the usual rates, its fastest, and the device's present rate.
std::vector<double> RatesIn(const v4l2_frmival_stepwise& range, const V4L2Device& device)
{
    std::vector<double> rates;
    const auto add = [&](double rate) {
        if (rate > 0 && std::ranges::none_of(rates, [=](double known) { return std::abs(known - rate) < 0.01; }))
            rates.push_back(rate);
    };
    for (const double rate : kUsualRates)
        if (Spans(range, rate))
            add(rate);
    if (const auto present = PresentRate(device); present && Spans(range, *present))
        add(*present);
    add(RateOf(range.min));
    return rates;
}

std::vector<double> RatesOf(const V4L2Device& device, uint32_t pixelFormat, Size size)
{
    std::vector<double> rates;
    for (uint32_t i = 0; i < kMaxEntries; ++i) {
        v4l2_frmivalenum entry{};
        entry.index = i;
        entry.pixel_format = pixelFormat;
        entry.width = size.width;
        entry.height = size.height;
        if (device.Ioctl(VIDIOC_ENUM_FRAMEINTERVALS, entry) != 0)
            break;
        if (entry.type != V4L2_FRMIVAL_TYPE_DISCRETE) {
            rates = RatesIn(entry.stepwise, device);
            break;
        }
        if (const double rate = RateOf(entry.discrete); rate > 0)
            rates.push_back(rate);
    }
    if (rates.empty())
        rates.push_back(OnlyRate(device));
    std::ranges::sort(rates, std::greater());
    return rates;
}

template <typename Use> void ForEachPixelFormat(const V4L2Device& device, Use use)
{
    for (uint32_t i = 0; i < kMaxEntries; ++i) {
        v4l2_fmtdesc entry{};
        entry.index = i;
        entry.type = device.BufferType();
        if (device.Ioctl(VIDIOC_ENUM_FMT, entry) != 0)
            break;
        if (const FourCharCode format = FormatOfPixelFormat(entry.pixelformat); format != 0)
            use(entry.pixelformat, format);
    }
}

// The pixel formats that may produce a format in a size: offered ones first, then all known ones, for devices that list
// none.
std::vector<uint32_t> CandidatesFor(const std::vector<V4L2Offer>& offers, const CaptureFormat& wanted)
{
    std::vector<uint32_t> candidates;
    for (const V4L2Offer& offer : offers)
        if (offer.format.format == wanted.format && offer.format.width == wanted.width &&
            offer.format.height == wanted.height)
            candidates.push_back(offer.pixelFormat);
    return candidates.empty() ? PixelFormatsOf(wanted.format) : candidates;
}

// Interlaced pictures are requested with their fields interleaved; otherwise they are interleaved here.
int SetLayout(const V4L2Device& device, uint32_t pixelFormat, const CaptureFormat& wanted, V4L2Layout& layout)
{
    v4l2_std_id standard = 0;
    const bool isTelevision = device.Ioctl(VIDIOC_G_STD, standard) == 0 && standard != 0;
    const bool isWholeFrame = wanted.height > ((standard & V4L2_STD_625_50) != 0 ? 288 : 240);
    layout = {.pixelFormat = pixelFormat,
              .width = static_cast<uint32_t>(wanted.width),
              .height = static_cast<uint32_t>(wanted.height),
              .field = isTelevision && isWholeFrame ? static_cast<uint32_t>(V4L2_FIELD_INTERLACED)
                                                    : static_cast<uint32_t>(V4L2_FIELD_ANY)};
    const int error = device.Layout(VIDIOC_S_FMT, layout);
    return error == 0 && layout.pixelFormat != pixelFormat ? EINVAL : error;
}

void ApplyRate(const V4L2Device& device, double rate, CaptureFormat& actual)
{
    const FrameGrid grid = FrameGrid::ForRate(rate);
    v4l2_streamparm parameters{};
    parameters.type = device.BufferType();
    parameters.parm.capture.timeperframe = {static_cast<uint32_t>(grid.seconds), static_cast<uint32_t>(grid.frames)};
    actual.frameRate = rate;
    // Many devices have only one rate and don't support the call.
    if (device.Ioctl(VIDIOC_S_PARM, parameters) == 0)
        if (const double taken = RateOf(parameters.parm.capture.timeperframe); taken > 0)
            actual.frameRate = taken;
}

} // namespace

V4L2Usability JudgeFormats(const V4L2Device& device)
{
    V4L2Usability judged;
    ForEachPixelFormat(device, [&](uint32_t, FourCharCode format) {
        judged.usable = true;
        judged.color = judged.color || format != kGreyPixelFormat;
    });
    return judged;
}

std::vector<V4L2Offer> EnumerateFormats(const V4L2Device& device)
{
    std::vector<V4L2Offer> offers;
    ForEachPixelFormat(device, [&](uint32_t pixelFormat, FourCharCode code) {
        for (const Size size : SizesOf(device, pixelFormat))
            for (const double rate : RatesOf(device, pixelFormat, size)) {
                const CaptureFormat format{code, static_cast<int32_t>(size.width), static_cast<int32_t>(size.height),
                                           rate};
                if (std::ranges::find(offers, format, &V4L2Offer::format) == offers.end())
                    offers.push_back({format, pixelFormat});
            }
    });
    return offers;
}

CaptureFormat CurrentFormat(const V4L2Device& device)
{
    V4L2Layout current;
    if (device.Layout(VIDIOC_G_FMT, current) != 0 || !IsUsable({current.width, current.height}))
        return {};
    return {FormatOfPixelFormat(current.pixelFormat), static_cast<int32_t>(current.width), PictureHeight(current),
            OnlyRate(device)};
}

int ApplyFormat(const V4L2Device& device, const std::vector<V4L2Offer>& offers, const CaptureFormat& wanted,
                CaptureFormat& actual, V4L2Layout& layout)
{
    int error = EINVAL;
    for (const uint32_t pixelFormat : CandidatesFor(offers, wanted)) {
        error = SetLayout(device, pixelFormat, wanted, layout);
        if (error != EINVAL)
            break;
    }
    if (error != 0)
        return error;
    if (!IsUsable({layout.width, layout.height}) || PictureHeight(layout) > kMaxPictureSide)
        return ERANGE;
    actual = {wanted.format, static_cast<int32_t>(layout.width), PictureHeight(layout), wanted.frameRate};
    ApplyRate(device, wanted.frameRate, actual);
    return 0;
}

} // namespace platform
