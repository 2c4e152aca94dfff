// SPDX-License-Identifier: MIT
// Drawing of the Test Pattern. Everything is a filled area: one row is written and the others are copied, so that a
// frame costs little more than writing its memory.
#include "platform/digitizer/testpattern/TestPatternLayout.h"

#include "platform/drawing/PixelFormat.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace platform {
namespace {

// Seven rows of five dots for each digit, the leftmost dot in the highest bit.
constexpr uint8_t kDigitRows[10][7] = {
    {0b01110, 0b10001, 0b10011, 0b10101, 0b11001, 0b10001, 0b01110},
    {0b00100, 0b01100, 0b00100, 0b00100, 0b00100, 0b00100, 0b01110},
    {0b01110, 0b10001, 0b00001, 0b00110, 0b01000, 0b10000, 0b11111},
    {0b01110, 0b10001, 0b00001, 0b00110, 0b00001, 0b10001, 0b01110},
    {0b00010, 0b00110, 0b01010, 0b10010, 0b11111, 0b00010, 0b00010},
    {0b11111, 0b10000, 0b11110, 0b00001, 0b00001, 0b10001, 0b01110},
    {0b01110, 0b10000, 0b11110, 0b10001, 0b10001, 0b10001, 0b01110},
    {0b11111, 0b00001, 0b00010, 0b00100, 0b01000, 0b01000, 0b01000},
    {0b01110, 0b10001, 0b10001, 0b01110, 0b10001, 0b10001, 0b01110},
    {0b01110, 0b10001, 0b10001, 0b01111, 0b00001, 0b00001, 0b01110},
};

constexpr PatternColor kBars[8] = {{191, 191, 191}, {191, 191, 0}, {0, 191, 191}, {0, 191, 0},
                                   {191, 0, 191},   {191, 0, 0},   {0, 0, 191},   {16, 16, 16}};
constexpr int kMaxDigits = 10;
constexpr int kStripes = 8;
constexpr int kRampSteps = 32;

uint8_t Byte(double value)
{
    return static_cast<uint8_t>(std::clamp(value + 0.5, 0.0, 255.0));
}

struct VideoColor {
    uint8_t y, cb, cr;
};

// ITU-R BT.601, video range: what cameras of these layouts deliver.
VideoColor VideoColorOf(PatternColor color)
{
    const double r = color.red, g = color.green, b = color.blue;
    return {Byte(16 + (65.481 * r + 128.553 * g + 24.966 * b) / 255),
            Byte(128 + (-37.797 * r - 74.203 * g + 112.0 * b) / 255),
            Byte(128 + (112.0 * r - 93.786 * g - 18.214 * b) / 255)};
}

// Four bytes that repeat along a row: one 32-bit pixel, or two 4:2:2 pixels.
std::array<uint8_t, 4> UnitOf(FourCharCode format, PatternColor color)
{
    if (format == kPixelFormat32)
        return {color.blue, color.green, color.red, 255};
    const VideoColor video = VideoColorOf(color);
    if (format == k2vuyPixelFormat)
        return {video.cb, video.y, video.cr, video.y};
    return {video.y, video.cb, video.y, video.cr};
}

void DrawCornerMarks(const PatternSurface& surface)
{
    for (const auto corner :
         {PatternCorner::TopLeft, PatternCorner::TopRight, PatternCorner::BottomLeft, PatternCorner::BottomRight})
        FillPatternArea(surface, CornerMarkArea(corner, surface.width, surface.height), CornerMarkColor(corner));
}

void DrawStripes(const PatternSurface& surface, uint32_t number)
{
    const int32_t period = surface.width / kStripes;
    const int32_t top = surface.height / 2;
    const int32_t height = surface.height * 5 / 8 - top;
    const auto shift = static_cast<int32_t>(int64_t{number} * 4 % period);
    FillPatternArea(surface, {0, top, surface.width, height}, {32, 32, 96});
    for (int32_t left = shift - period; left < surface.width; left += period)
        FillPatternArea(surface, {left, top, period / 2, height}, {224, 224, 160});
}

void DrawDigit(const PatternSurface& surface, int digit, int32_t left, int32_t top, int32_t dot)
{
    for (int row = 0; row < 7; ++row)
        for (int column = 0; column < 5; ++column)
            if ((kDigitRows[digit][row] >> (4 - column) & 1) != 0)
                FillPatternArea(surface, {left + column * dot, top + row * dot, dot, dot}, kPatternWhite);
}

void DrawDigits(const PatternSurface& surface, uint32_t number)
{
    const int32_t dot = std::max(2, std::min(surface.width / 80, surface.height / 60) / 2 * 2);
    const int32_t top = surface.height * 5 / 8;
    const int32_t height = surface.height * 25 / 32 - top;
    const int32_t plate = (kMaxDigits * 6 + 1) * dot;
    FillPatternArea(surface, {(surface.width - plate) / 2, top, plate, height}, kPatternBlack);
    const std::string text = std::to_string(number);
    int32_t left = (surface.width - static_cast<int32_t>(text.size()) * 6 * dot) / 2;
    for (const char character : text) {
        DrawDigit(surface, character - '0', left, top + (height - 7 * dot) / 2, dot);
        left += 6 * dot;
    }
}

} // namespace

void FillPatternArea(const PatternSurface& surface, PatternArea area, PatternColor color)
{
    const int32_t pixelsPerUnit = surface.format == kPixelFormat32 ? 1 : 2;
    const int32_t left = std::clamp(area.left, 0, surface.width) / pixelsPerUnit;
    const int32_t right = std::clamp(area.left + area.width, 0, surface.width) / pixelsPerUnit;
    const int32_t top = std::clamp(area.top, 0, surface.height);
    const int32_t bottom = std::clamp(area.top + area.height, 0, surface.height);
    if (left >= right || top >= bottom)
        return;
    const auto unit = UnitOf(surface.format, color);
    uint8_t* first = surface.pixels + int64_t{top} * surface.rowBytes + int64_t{left} * 4;
    for (int32_t i = 0; i < right - left; ++i)
        std::memcpy(first + int64_t{i} * 4, unit.data(), 4);
    for (int32_t y = top + 1; y < bottom; ++y)
        std::memcpy(first + int64_t{y - top} * surface.rowBytes, first, static_cast<size_t>(right - left) * 4);
}

void DrawPatternBackground(const PatternSurface& surface, bool flash)
{
    const int32_t width = surface.width;
    const int32_t height = surface.height;
    FillPatternArea(surface, {0, 0, width, height}, flash ? kPatternWhite : PatternColor{64, 64, 64});
    if (!flash) {
        for (int i = 0; i < 8; ++i)
            FillPatternArea(surface, {i * width / 8, 0, (i + 1) * width / 8 - i * width / 8, height / 2}, kBars[i]);
        const int32_t rampTop = height * 13 / 15;
        for (int i = 0; i < kRampSteps; ++i) {
            const auto level = static_cast<uint8_t>(i * 255 / (kRampSteps - 1));
            FillPatternArea(surface, {i * width / kRampSteps, rampTop, width / kRampSteps + 1, height - rampTop},
                            {level, level, level});
        }
    }
    DrawCornerMarks(surface);
}

void DrawPatternFrame(const PatternSurface& surface, uint32_t number, bool flash)
{
    if (!flash)
        DrawStripes(surface, number);
    DrawDigits(surface, number);
    DrawFrameNumber(surface, number);
}

void DrawFrameNumber(const PatternSurface& surface, uint32_t number)
{
    const auto cells = FrameNumberCells(number);
    for (int i = 0; i < kPatternCells; ++i)
        for (const bool upper : {true, false})
            FillPatternArea(surface, FrameNumberCellArea(i, upper, surface.width, surface.height),
                            cells[static_cast<size_t>(i)] == upper ? kPatternWhite : kPatternBlack);
}

} // namespace platform
