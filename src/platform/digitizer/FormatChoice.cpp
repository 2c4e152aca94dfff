// SPDX-License-Identifier: MIT
#include "platform/digitizer/FormatChoice.h"

#include "platform/compression/KeyFrames.h"
#include "platform/drawing/PixelFormat.h"

#include <algorithm>
#include <cstdlib>
#include <tuple>

namespace platform {
namespace {

constexpr FourCharCode kJpeg = CodeOf("jpeg");
constexpr double kSlowestKept = 23.9; // film's 23.976 counts as 24
constexpr double kFastEnough = 24.9;
constexpr double kUsualRate = 30;

int64_t Pixels(const CaptureFormat& format)
{
    return int64_t{format.width} * format.height;
}

// Inter-frame formats are only used if requested, or if the camera has no others.
std::vector<CaptureFormat> Eligible(const std::vector<CaptureFormat>& offered, FourCharCode wanted)
{
    std::vector<CaptureFormat> eligible;
    std::ranges::copy_if(offered, std::back_inserter(eligible), [=](const CaptureFormat& format) {
        return !IsInterFrame(format.format) || format.format == wanted;
    });
    return eligible.empty() ? offered : eligible;
}

bool SameSize(const CaptureFormat& a, const CaptureFormat& b)
{
    return a.width == b.width && a.height == b.height;
}

} // namespace

CaptureFormat FirstFormat(const std::vector<CaptureFormat>& all, const CaptureFormat& own)
{
    const auto offered = Eligible(all, 0);
    const bool isOffered = std::ranges::any_of(
        offered, [&](const CaptureFormat& format) { return format.format == own.format && SameSize(format, own); });
    if (isOffered && own.frameRate >= kSlowestKept)
        return NearestFormat(offered, own);
    const auto rank = [](const CaptureFormat& format) {
        const bool isFast = format.frameRate >= kFastEnough;
        const bool isSmall = Pixels(format) <= 1280 * 720;
        return std::tuple(format.format != kGreyPixelFormat, isFast, isSmall, isFast ? 0 : format.frameRate,
                          isSmall ? Pixels(format) : -Pixels(format), format.format != kJpeg,
                          -std::abs(format.frameRate - kUsualRate));
    };
    const auto best = std::ranges::max_element(offered, {}, rank);
    return best == offered.end() ? CaptureFormat{} : *best;
}

CaptureFormat NearestFormat(const std::vector<CaptureFormat>& all, const CaptureFormat& wanted)
{
    const auto offered = Eligible(all, wanted.format);
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

std::vector<CaptureFormat> CheaperFormats(const std::vector<CaptureFormat>& offered, const CaptureFormat& refused)
{
    std::vector<CaptureFormat> cheaper;
    const auto isCheaper = [&](const CaptureFormat& format) {
        const bool noMore = Pixels(format) <= Pixels(refused) && format.frameRate <= refused.frameRate + 0.01;
        const bool compresses = format.format == kJpeg && refused.format != kJpeg;
        const bool less = Pixels(format) < Pixels(refused) || format.frameRate < refused.frameRate - 0.01;
        return noMore && (compresses || (less && (format.format == kJpeg || refused.format != kJpeg)));
    };
    std::ranges::copy_if(Eligible(offered, refused.format), std::back_inserter(cheaper), isCheaper);
    std::ranges::stable_sort(cheaper, std::greater(), [](const CaptureFormat& format) {
        return std::tuple(Pixels(format), format.format == kJpeg, format.frameRate);
    });
    return cheaper;
}

} // namespace platform
