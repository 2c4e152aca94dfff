// SPDX-License-Identifier: MIT
#include "platform/grabber/dialogs/LevelBars.h"

#include "platform/grabber/dialogs/Texts.h"

#include <QEvent>
#include <QPainter>

#include <algorithm>
#include <cmath>

namespace platform {
namespace {

constexpr int kGap = 4;
constexpr int kLettersWide = 36;
constexpr double kLowestDecibels = -60;
constexpr int kMarks[] = {-60, -48, -36, -24, -12, -6, 0};
// At thirty calls per second: a bar falls by its length in two seconds, a peak is held for two, a lamp stays lit for
// three.
constexpr double kFall = 1.0 / 60;
constexpr int kHeldCalls = 60;
constexpr int kLitCalls = 90;
// The highest 8-bit level, less than a tenth of a decibel below the highest 16-bit level.
constexpr double kClips = 127.0 / 128;
// Above this the bar is yellow: the usual headroom for speech.
constexpr double kHeadroomDecibels = -9;

// A contrast of at least three to one on white and on dark backgrounds.
const QColor kGreen(0x2e, 0xa0, 0x43);
const QColor kYellow(0xb0, 0x80, 0x00);
const QColor kRed(0xd0, 0x20, 0x20);

double DecibelsOf(double level)
{
    return 20 * std::log10(level);
}

double PlaceOf(double decibels)
{
    return std::clamp(1 - decibels / kLowestDecibels, 0.0, 1.0);
}

double PlaceOfLevel(double level)
{
    return level > 0 ? PlaceOf(DecibelsOf(level)) : 0;
}

} // namespace

LevelBars::LevelBars()
{
    setAccessibleName("Level");
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

int LevelBars::LineHeight() const
{
    return fontMetrics().height();
}

QSize LevelBars::sizeHint() const
{
    return {kLettersWide * fontMetrics().averageCharWidth(), 3 * LineHeight() + 2 * kGap};
}

void LevelBars::changeEvent(QEvent* event)
{
    if (event->type() == QEvent::FontChange)
        updateGeometry();
    QWidget::changeEvent(event);
}

void LevelBars::Follow(Bar& bar, double level)
{
    bar.shown = std::max(PlaceOfLevel(level), bar.shown - kFall);
    bar.callsToHold = std::max(bar.callsToHold - 1, 0);
    if (level >= bar.highest || bar.callsToHold == 0) {
        bar.highest = level;
        bar.callsToHold = kHeldCalls;
    }
    bar.callsToLight = level >= kClips ? kLitCalls : std::max(bar.callsToLight - 1, 0);
}

void LevelBars::Show(double left, double right)
{
    Follow(bars[0], left);
    Follow(bars[1], right);
    setAccessibleDescription(Text());
    update();
}

QString LevelBars::Text() const
{
    const double highest = std::max(bars[0].highest, bars[1].highest);
    if (highest <= 0)
        return "Silence";
    const QString peak = "Peak " + NumberText(DecibelsOf(highest), 1) + " dB";
    const bool clips = std::ranges::any_of(bars, [](const Bar& bar) { return bar.callsToLight > 0; });
    return clips ? peak + ", too loud: lower the gain" : peak;
}

// Leaves space for the channel letters and the lamps.
QRect LevelBars::BarArea() const
{
    const int letter = fontMetrics().horizontalAdvance("R") + kGap;
    return rect().adjusted(letter, 0, -LineHeight() - kGap, 0);
}

void LevelBars::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    PaintBar(painter, bars[0], "L", 0);
    PaintBar(painter, bars[1], "R", LineHeight() + kGap);
    PaintScale(painter);
}

void LevelBars::PaintBar(QPainter& painter, const Bar& bar, const QString& side, int top) const
{
    const QRect area(BarArea().left(), top, BarArea().width(), LineHeight());
    const auto part = [&](double from, double to) {
        const int left = area.left() + static_cast<int>(std::lround(from * area.width()));
        const int right = area.left() + static_cast<int>(std::lround(to * area.width()));
        return QRect(left, top, std::max(right - left, 0), area.height());
    };
    const double headroom = PlaceOf(kHeadroomDecibels);
    const QColor empty = palette().color(QPalette::Base);
    painter.setPen(palette().color(QPalette::WindowText));
    painter.drawText(QRect(0, top, area.left(), area.height()), Qt::AlignLeft | Qt::AlignVCenter, side);
    painter.fillRect(area, empty);
    painter.fillRect(part(0, std::min(bar.shown, headroom)), kGreen);
    painter.fillRect(part(headroom, std::max(bar.shown, headroom)), kYellow);
    if (const double held = PlaceOfLevel(bar.highest); held > 0)
        painter.fillRect(part(held, held).adjusted(-2, 0, 1, 0) & area, palette().color(QPalette::WindowText));
    const QRect lamp(area.right() + 1 + kGap, top, area.height(), area.height());
    painter.fillRect(lamp, bar.callsToLight > 0 ? kRed : empty);
    // An empty bar may have the color of the page.
    painter.setPen(palette().color(QPalette::PlaceholderText));
    painter.drawRect(area.adjusted(0, 0, -1, -1));
    painter.drawRect(lamp.adjusted(0, 0, -1, -1));
}

// A mark is left out if it would touch its neighbour.
void LevelBars::PaintScale(QPainter& painter) const
{
    const QRect area = BarArea();
    const int top = 2 * (LineHeight() + kGap);
    int free = 0;
    painter.setPen(palette().color(QPalette::WindowText));
    for (const int mark : kMarks) {
        const QString text = mark == 0 ? QString("0 dB") : QString::number(mark);
        const int width = fontMetrics().horizontalAdvance(text);
        const int middle = area.left() + static_cast<int>(PlaceOf(mark) * area.width());
        const int left = std::clamp(middle - width / 2, 0, std::max(rect().width() - width, 0));
        if (left < free)
            continue;
        painter.drawText(QRect(left, top, width, LineHeight()), Qt::AlignCenter, text);
        free = left + width + kGap;
    }
}

} // namespace platform
