// SPDX-License-Identifier: MIT
#include "platform/grabber/dialogs/LevelBars.h"

#include <QPainter>

#include <algorithm>
#include <cmath>

namespace platform {
namespace {

constexpr int kFullScale = 255;
constexpr int kBarHeight = 12;
constexpr int kGap = 4;
constexpr int kMarkWidth = 14;
// What one of eight bits tells apart: the scale begins there.
constexpr double kLowestDecibels = -48;
// Thirty calls make a second: a bar falls by its length in one, a mark stays for three.
constexpr double kFall = 1.0 / 30;
constexpr int kMarkedCalls = 90;
// From here on the bar is yellow, the usual room that speech is given.
constexpr double kHeadroomDecibels = -9;

double PlaceOf(double decibels)
{
    return std::clamp(1 - decibels / kLowestDecibels, 0.0, 1.0);
}

} // namespace

LevelBars::LevelBars()
{
    setFixedHeight(2 * kBarHeight + kGap);
    setMinimumWidth(160);
}

void LevelBars::Show(uint8_t left, uint8_t right)
{
    const std::array<uint8_t, 2> levels{left, right};
    for (size_t i = 0; i < bars.size(); ++i) {
        const double level = levels[i] == 0 ? 0 : PlaceOf(20 * std::log10(double{1} * levels[i] / kFullScale));
        bars[i].shown = std::max(level, bars[i].shown - kFall);
        bars[i].clipped = levels[i] == kFullScale ? kMarkedCalls : std::max(bars[i].clipped - 1, 0);
    }
    const bool clips = std::ranges::any_of(bars, [](const Bar& bar) { return bar.clipped > 0; });
    setAccessibleDescription(clips ? "clipping" : QString("left %1, right %2 of 255").arg(left).arg(right));
    update();
}

void LevelBars::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    const int length = width() - kMarkWidth - kGap;
    const int headroom = static_cast<int>(PlaceOf(kHeadroomDecibels) * length);
    int top = 0;
    for (const Bar& bar : bars) {
        const int shown = static_cast<int>(std::lround(bar.shown * length));
        painter.fillRect(0, top, length, kBarHeight, palette().color(QPalette::Mid));
        painter.fillRect(0, top, std::min(shown, headroom), kBarHeight, QColor(0x2e, 0xa0, 0x43));
        painter.fillRect(headroom, top, std::max(shown - headroom, 0), kBarHeight, QColor(0xe0, 0xb0, 0x20));
        painter.fillRect(length + kGap, top, kMarkWidth, kBarHeight,
                         bar.clipped > 0 ? QColor(0xd0, 0x20, 0x20) : palette().color(QPalette::Mid));
        top += kBarHeight + kGap;
    }
}

} // namespace platform
