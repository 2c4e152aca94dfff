#include "platform/digitizer/v4l2/V4L2Formats.h"

#include "platform/digitizer/FrameGrid.h"
#include "platform/drawing/PixelFormat.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <tuple>

namespace platform {
namespace {

constexpr FourCharCode kJpeg = CodeOf("jpeg");

constexpr std::pair<uint32_t, FourCharCode> kFormats[] = {
    {V4L2_PIX_FMT_MJPEG, kJpeg},
    {V4L2_PIX_FMT_JPEG, kJpeg},
    {V4L2_PIX_FMT_YUYV, kYuvsPixelFormat},
    {V4L2_PIX_FMT_UYVY, k2vuyPixelFormat},
    {V4L2_PIX_FMT_NV12, kNV12PixelFormat},
    {V4L2_PIX_FMT_YUV420, kY420PixelFormat},
    {V4L2_PIX_FMT_RGB24, kRGB24PixelFormat},
    {V4L2_PIX_FMT_BGR24, kBGR24PixelFormat},
    {V4L2_PIX_FMT_GREY, kGreyPixelFormat},
};

// What is offered of a device that names a range.
constexpr std::pair<uint32_t, uint32_t> kUsualSizes[] = {
    {160, 120}, {176, 144},  {320, 240},  {352, 288},  {640, 360},   {640, 480},   {720, 480},   {720, 576},
    {800, 600}, {1024, 768}, {1280, 720}, {1280, 960}, {1600, 1200}, {1920, 1080}, {2560, 1440}, {3840, 2160},
};
constexpr double kUsualRates[] = {120, 60, 59.94, 50, 30, 29.97, 25, 24, 20, 15, 10, 5};

// A driver that never ends its list is not followed further than this.
constexpr uint32_t kMostEntries = 256;

struct Size {
    uint32_t width = 0;
    uint32_t height = 0;
};

bool IsUsable(Size size)
{
    return size.width >= 1 && size.height >= 1 && size.width <= 16384 && size.height <= 16384;
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

// The sizes by trial, for drivers that can't list them.
std::vector<Size> TrySizes(const V4L2Device& device, uint32_t pixelFormat)
{
    std::vector<Size> sizes;
    const auto attempt = [&](uint32_t width, uint32_t height) {
        v4l2_format format{};
        format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        format.fmt.pix.width = width;
        format.fmt.pix.height = height;
        format.fmt.pix.pixelformat = pixelFormat;
        format.fmt.pix.field = V4L2_FIELD_ANY;
        if (device.Ioctl(VIDIOC_TRY_FMT, format) == 0 && format.fmt.pix.pixelformat == pixelFormat &&
            format.fmt.pix.width == width && format.fmt.pix.height == height)
            sizes.push_back({width, height});
    };
    for (const auto& [width, height] : kUsualSizes)
        attempt(width, height);
    if (sizes.empty()) {
        v4l2_format current{};
        current.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        if (device.Ioctl(VIDIOC_G_FMT, current) == 0)
            sizes.push_back({current.fmt.pix.width, current.fmt.pix.height});
    }
    return sizes;
}

std::vector<Size> SizesOf(const V4L2Device& device, uint32_t pixelFormat)
{
    std::vector<Size> sizes;
    for (uint32_t i = 0; i < kMostEntries; ++i) {
        v4l2_frmsizeenum entry{};
        entry.index = i;
        entry.pixel_format = pixelFormat;
        if (device.Ioctl(VIDIOC_ENUM_FRAMESIZES, entry) != 0)
            break;
        if (entry.type == V4L2_FRMSIZE_TYPE_DISCRETE) {
            sizes.push_back({entry.discrete.width, entry.discrete.height});
            continue;
        }
        const auto& range = entry.stepwise;
        for (const auto& [width, height] : kUsualSizes)
            if (Fits(width, range.min_width, range.max_width, range.step_width) &&
                Fits(height, range.min_height, range.max_height, range.step_height))
                sizes.push_back({width, height});
        if (sizes.empty())
            sizes.push_back({range.max_width, range.max_height});
        break;
    }
    return sizes.empty() ? TrySizes(device, pixelFormat) : sizes;
}

// The rate of a device that lists none: that of its television standard, of its present setting, or the usual one.
double OnlyRate(const V4L2Device& device)
{
    v4l2_std_id standard = 0;
    if (device.Ioctl(VIDIOC_G_STD, standard) == 0 && standard != 0)
        return (standard & V4L2_STD_625_50) != 0 ? 25 : 29.97;
    v4l2_streamparm parameters{};
    parameters.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    if (device.Ioctl(VIDIOC_G_PARM, parameters) == 0 && parameters.parm.capture.timeperframe.denominator != 0 &&
        parameters.parm.capture.timeperframe.numerator != 0)
        return RateOf(parameters.parm.capture.timeperframe);
    return 30;
}

std::vector<double> RatesOf(const V4L2Device& device, uint32_t pixelFormat, Size size)
{
    std::vector<double> rates;
    for (uint32_t i = 0; i < kMostEntries; ++i) {
        v4l2_frmivalenum entry{};
        entry.index = i;
        entry.pixel_format = pixelFormat;
        entry.width = size.width;
        entry.height = size.height;
        if (device.Ioctl(VIDIOC_ENUM_FRAMEINTERVALS, entry) != 0)
            break;
        if (entry.type == V4L2_FRMIVAL_TYPE_DISCRETE) {
            if (const double rate = RateOf(entry.discrete); rate > 0)
                rates.push_back(rate);
            continue;
        }
        for (const double rate : kUsualRates)
            if (Spans(entry.stepwise, rate))
                rates.push_back(rate);
        break;
    }
    if (rates.empty())
        rates.push_back(OnlyRate(device));
    std::ranges::sort(rates, std::greater());
    return rates;
}

int64_t Pixels(const CaptureFormat& format)
{
    return int64_t{format.width} * format.height;
}

// The pixel format by which the device knows a format code, tried in the order of the table.
std::vector<uint32_t> PixelFormatsOf(FourCharCode format)
{
    std::vector<uint32_t> found;
    for (const auto& [pixelFormat, code] : kFormats)
        if (code == format)
            found.push_back(pixelFormat);
    return found;
}

void ApplyRate(const V4L2Device& device, double rate, CaptureFormat& actual)
{
    const FrameGrid grid = FrameGrid::ForRate(rate);
    v4l2_streamparm parameters{};
    parameters.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    parameters.parm.capture.timeperframe = {static_cast<uint32_t>(grid.seconds), static_cast<uint32_t>(grid.frames)};
    actual.frameRate = rate;
    // Many devices have one rate only and don't know the call.
    if (device.Ioctl(VIDIOC_S_PARM, parameters) == 0)
        if (const double taken = RateOf(parameters.parm.capture.timeperframe); taken > 0)
            actual.frameRate = taken;
}

} // namespace

FourCharCode FormatOfPixelFormat(uint32_t pixelFormat)
{
    const auto found = std::ranges::find(kFormats, pixelFormat, &std::pair<uint32_t, FourCharCode>::first);
    return found == std::end(kFormats) ? 0 : found->second;
}

std::vector<CaptureFormat> EnumerateFormats(const V4L2Device& device)
{
    std::vector<CaptureFormat> formats;
    for (uint32_t i = 0; i < kMostEntries; ++i) {
        v4l2_fmtdesc entry{};
        entry.index = i;
        entry.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        if (device.Ioctl(VIDIOC_ENUM_FMT, entry) != 0)
            break;
        const FourCharCode code = FormatOfPixelFormat(entry.pixelformat);
        if (code == 0)
            continue;
        for (const Size size : SizesOf(device, entry.pixelformat)) {
            if (!IsUsable(size))
                continue;
            for (const double rate : RatesOf(device, entry.pixelformat, size)) {
                const CaptureFormat format{code, static_cast<int32_t>(size.width), static_cast<int32_t>(size.height),
                                           rate};
                if (std::ranges::find(formats, format) == formats.end())
                    formats.push_back(format);
            }
        }
    }
    return formats;
}

CaptureFormat CurrentFormat(const V4L2Device& device)
{
    v4l2_format current{};
    current.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    if (device.Ioctl(VIDIOC_G_FMT, current) != 0 || !IsUsable({current.fmt.pix.width, current.fmt.pix.height}))
        return {};
    return {FormatOfPixelFormat(current.fmt.pix.pixelformat), static_cast<int32_t>(current.fmt.pix.width),
            static_cast<int32_t>(current.fmt.pix.height), OnlyRate(device)};
}

CaptureFormat DefaultFormat(const std::vector<CaptureFormat>& offered)
{
    const auto rank = [](const CaptureFormat& format) {
        const bool small = Pixels(format) <= 640 * 480;
        const bool fits = Pixels(format) <= 1280 * 720;
        const bool fast = format.frameRate > 29;
        const int64_t size = fits ? Pixels(format) : -Pixels(format);
        const bool suits = (format.format == kJpeg) != small;
        return std::tuple(fast, fits, size, suits, -std::abs(format.frameRate - 30));
    };
    const auto best = std::ranges::max_element(offered, {}, rank);
    return best == offered.end() ? CaptureFormat{} : *best;
}

CaptureFormat NearestFormat(const std::vector<CaptureFormat>& offered, const CaptureFormat& wanted)
{
    if (wanted.width < 1 || wanted.height < 1 || !(wanted.frameRate >= 0))
        return {};
    const auto distance = [&](const CaptureFormat& format) {
        const int64_t size =
            std::abs(int64_t{format.width} - wanted.width) + std::abs(int64_t{format.height} - wanted.height);
        const double rate = wanted.frameRate > 0 ? std::abs(format.frameRate - wanted.frameRate) : -format.frameRate;
        return std::tuple(size, wanted.format != 0 && format.format != wanted.format, rate);
    };
    const auto nearest = std::ranges::min_element(offered, {}, distance);
    return nearest == offered.end() ? CaptureFormat{} : *nearest;
}

Result ApplyFormat(const V4L2Device& device, const CaptureFormat& wanted, CaptureFormat& actual,
                   v4l2_pix_format& layout)
{
    int error = EINVAL;
    for (const uint32_t pixelFormat : PixelFormatsOf(wanted.format)) {
        v4l2_format format{};
        format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        format.fmt.pix.width = static_cast<uint32_t>(wanted.width);
        format.fmt.pix.height = static_cast<uint32_t>(wanted.height);
        format.fmt.pix.pixelformat = pixelFormat;
        format.fmt.pix.field = V4L2_FIELD_ANY;
        error = device.Ioctl(VIDIOC_S_FMT, format);
        layout = format.fmt.pix;
        if (error == 0 && layout.pixelformat == pixelFormat)
            break;
        if (error == 0)
            error = EINVAL;
    }
    if (error != 0)
        return ResultOfDeviceError(error);
    if (!IsUsable({layout.width, layout.height}))
        return deviceCantMeetRequest;
    actual = {wanted.format, static_cast<int32_t>(layout.width), static_cast<int32_t>(layout.height), wanted.frameRate};
    ApplyRate(device, wanted.frameRate, actual);
    return noErr;
}

} // namespace platform
