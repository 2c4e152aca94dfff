// SPDX-License-Identifier: MIT
#include "platform/digitizer/testpattern/TestPatternLayout.h"

#include <cstdlib>

namespace platform {
namespace {

constexpr int kDataBits = 32;
constexpr int kFirstDataCell = 2;
constexpr int kFirstCheckCell = kFirstDataCell + kDataBits;
// A cell and its negative differ by about 220 when drawn; the worst picture worth reading retains half of that.
constexpr int kMinContrast = 64;
constexpr int kFlashLevel = 225;

// The exclusive or of the eight nibbles. A row of equal cells never has a valid one.
uint32_t CheckBits(uint32_t number)
{
    uint32_t check = 0x5;
    for (int shift = 0; shift < kDataBits; shift += 4)
        check ^= number >> shift & 0xF;
    return check;
}

// The middle of an area, where scaling and overlays do not mix in its neighbours.
PatternArea Core(const PatternArea& area)
{
    const int32_t width = area.width / 2 > 0 ? area.width / 2 : 1;
    const int32_t height = area.height / 2 > 0 ? area.height / 2 : 1;
    return {area.left + (area.width - width) / 2, area.top + (area.height - height) / 2, width, height};
}

template <typename Sample> int Mean(const PatternArea& area, Sample sample)
{
    int64_t sum = 0;
    for (int32_t y = area.top; y < area.top + area.height; ++y)
        for (int32_t x = area.left; x < area.left + area.width; ++x)
            sum += sample(x, y);
    return static_cast<int>(sum / (int64_t{area.width} * area.height));
}

template <typename Sample> std::optional<uint32_t> ReadCells(int32_t width, int32_t height, Sample luma)
{
    if (width < 160 || height < 60)
        return std::nullopt;
    std::array<bool, kPatternCells> cells{};
    uint32_t number = 0;
    for (int i = 0; i < kPatternCells; ++i) {
        const int upper = Mean(Core(FrameNumberCellArea(i, true, width, height)), luma);
        const int lower = Mean(Core(FrameNumberCellArea(i, false, width, height)), luma);
        if (std::abs(upper - lower) < kMinContrast)
            return std::nullopt;
        cells[static_cast<size_t>(i)] = upper > lower;
        if (i >= kFirstDataCell && i < kFirstCheckCell)
            number = number << 1 | (upper > lower ? 1 : 0);
    }
    return cells == FrameNumberCells(number) ? std::optional(number) : std::nullopt;
}

// The part of a mark that is nearest to the centre of the picture: overlays are at the edges.
PatternArea InnerPart(PatternCorner corner, int32_t width, int32_t height)
{
    const PatternArea mark = CornerMarkArea(corner, width, height);
    const bool left = corner == PatternCorner::TopLeft || corner == PatternCorner::BottomLeft;
    const bool top = corner == PatternCorner::TopLeft || corner == PatternCorner::TopRight;
    return {mark.left + (left ? mark.width / 2 : mark.width / 8),
            mark.top + (top ? mark.height * 5 / 8 : mark.height / 8), mark.width * 3 / 8, mark.height / 4};
}

bool IsNear(int value, int wanted)
{
    return std::abs(value - wanted) < 80;
}

} // namespace

std::array<bool, kPatternCells> FrameNumberCells(uint32_t number)
{
    std::array<bool, kPatternCells> cells{};
    cells[0] = cells[kPatternCells - 2] = true;
    for (int i = 0; i < kDataBits; ++i)
        cells[static_cast<size_t>(kFirstDataCell + i)] = (number >> (kDataBits - 1 - i) & 1) != 0;
    for (int i = 0; i < 4; ++i)
        cells[static_cast<size_t>(kFirstCheckCell + i)] = (CheckBits(number) >> (3 - i) & 1) != 0;
    return cells;
}

PatternArea FrameNumberCellArea(int index, bool upper, int32_t width, int32_t height)
{
    const int32_t left = index * width / kPatternCells;
    const int32_t right = (index + 1) * width / kPatternCells;
    const int32_t top = (upper ? 24 : 25) * height / 30;
    const int32_t bottom = (upper ? 25 : 26) * height / 30;
    return {left, top, right - left, bottom - top};
}

PatternArea CornerMarkArea(PatternCorner corner, int32_t width, int32_t height)
{
    const bool left = corner == PatternCorner::TopLeft || corner == PatternCorner::BottomLeft;
    const bool top = corner == PatternCorner::TopLeft || corner == PatternCorner::TopRight;
    return {left ? 0 : width - width / 8, top ? 0 : height - height / 8, width / 8, height / 8};
}

PatternColor CornerMarkColor(PatternCorner corner)
{
    switch (corner) {
    case PatternCorner::TopLeft:
        return {255, 0, 0};
    case PatternCorner::TopRight:
        return {0, 255, 0};
    case PatternCorner::BottomLeft:
        return {0, 0, 255};
    case PatternCorner::BottomRight:
        break;
    }
    return {255, 255, 0};
}

std::optional<uint32_t> ReadFrameNumber(const uint8_t* pixels, int32_t width, int32_t height, int32_t rowBytes)
{
    return ReadCells(width, height, [=](int32_t x, int32_t y) {
        const uint8_t* pixel = pixels + int64_t{y} * rowBytes + int64_t{x} * 4;
        return (pixel[0] + 2 * pixel[1] + pixel[2]) / 4;
    });
}

std::optional<uint32_t> ReadFrameNumberFromLuma(const uint8_t* luma, int32_t step, int32_t width, int32_t height,
                                                int32_t rowBytes)
{
    return ReadCells(width, height,
                     [=](int32_t x, int32_t y) { return luma[int64_t{y} * rowBytes + int64_t{x} * step]; });
}

std::optional<PatternCorner> ReadCornerMark(PatternCorner place, const uint8_t* pixels, int32_t width, int32_t height,
                                            int32_t rowBytes)
{
    if (width < 160 || height < 60)
        return std::nullopt;
    const PatternArea area = InnerPart(place, width, height);
    int mean[3];
    for (int channel = 0; channel < 3; ++channel)
        mean[channel] =
            Mean(area, [=](int32_t x, int32_t y) { return pixels[int64_t{y} * rowBytes + int64_t{x} * 4 + channel]; });
    for (const auto corner :
         {PatternCorner::TopLeft, PatternCorner::TopRight, PatternCorner::BottomLeft, PatternCorner::BottomRight}) {
        const PatternColor color = CornerMarkColor(corner);
        if (IsNear(mean[0], color.blue) && IsNear(mean[1], color.green) && IsNear(mean[2], color.red))
            return corner;
    }
    return std::nullopt;
}

bool ReadFlash(const uint8_t* pixels, int32_t width, int32_t height, int32_t rowBytes)
{
    if (width < 160 || height < 60)
        return false;
    const PatternArea bars{width / 8, height / 6, width * 3 / 4, height / 4};
    for (int channel = 0; channel < 3; ++channel)
        if (Mean(bars, [=](int32_t x, int32_t y) { return pixels[int64_t{y} * rowBytes + int64_t{x} * 4 + channel]; }) <
            kFlashLevel)
            return false;
    return true;
}

} // namespace platform
