// Drawing into a port.
//
// The port is asked for its pixels at each operation, so a port that changed its size or ended meanwhile is met as it
// is now. Fills go straight to the pixels. Text goes through a painter over an image that is kept as long as the pixels
// lie where they lay, and with it the painter's engine; font and metrics are made when they are first asked for after a
// change. So the same few words drawn on every frame of a live picture set nothing up.
#include "framework/Graphics.h"

#include "framework/PortImage.h"
#include "framework/QtText.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QStringList>
#include <QTextLayout>

#include <algorithm>
#include <cmath>
#include <map>
#include <optional>
#include <tuple>

namespace framework {
namespace {

constexpr int32_t kPortHandle = 2;

struct MeasuredFont {
    explicit MeasuredFont(const QFont& font) : font(font), metrics(font) {}
    QFont font;
    QFontMetricsF metrics;

    int32_t LineHeight() const { return static_cast<int32_t>(std::ceil(metrics.ascent() + metrics.descent())); }
};

// The few fonts that a program draws with. They are shared by all objects, since a live picture's is made anew with
// each change of its size.
const MeasuredFont& FontFor(const std::string& family, int32_t size, bool bold)
{
    // Never ended: fonts must not outlive the application object, and pictures may.
    static auto& fonts = *new std::map<std::tuple<std::string, int32_t, bool>, MeasuredFont>;
    auto key = std::make_tuple(family, size, bold);
    const auto found = fonts.find(key);
    if (found != fonts.end())
        return found->second;
    QFont font = InterfaceFont(family, size, bold);
    // What is drawn is scaled with its picture, where coloured fringes would show.
    font.setStyleStrategy(QFont::NoSubpixelAntialias);
    return fonts.emplace(std::move(key), MeasuredFont(font)).first->second;
}

QStringList BreakLines(const QString& text, const MeasuredFont& font, int32_t wrapWidth)
{
    QStringList lines;
    for (const QString& paragraph : text.split('\n')) {
        if (wrapWidth <= 0 || font.metrics.horizontalAdvance(paragraph) <= wrapWidth) {
            lines.append(paragraph);
            continue;
        }
        QTextOption option;
        option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
        QTextLayout layout(paragraph, font.font);
        layout.setTextOption(option);
        layout.beginLayout();
        for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
            line.setLineWidth(wrapWidth);
            lines.append(paragraph.mid(line.textStart(), line.textLength()));
        }
        layout.endLayout();
    }
    return lines;
}

} // namespace

struct Graphics::State {
    platform::PortReference port;
    platform::PortRect area;
    uint32_t color = 0xFF000000;
    std::string family = "System";
    int32_t size = 0;
    bool bold = false;
    const MeasuredFont* font = nullptr;
    QImage image;

    const MeasuredFont& Font()
    {
        if (font == nullptr)
            font = &FontFor(family, size, bold);
        return *font;
    }

    // The image of the port as it is now; null for a dead one.
    QImage& Image()
    {
        const auto pixels = platform::PixelsOfPort(port);
        if (!pixels)
            image = {};
        else if (image.constBits() != pixels->pixels || image.width() != pixels->width ||
                 image.height() != pixels->height || image.bytesPerLine() != pixels->rowBytes)
            image = ImageOfPort(port);
        return image;
    }

    void DrawLines(const QStringList& lines, int32_t x, int32_t y)
    {
        if (Image().isNull())
            return;
        QPainter painter(&image);
        painter.setClipRect(ToQt(area));
        painter.translate(area.left, area.top);
        painter.setFont(Font().font);
        painter.setPen(QColor::fromRgb(color));
        for (const QString& line : lines) {
            painter.drawText(x, y, line);
            y += Font().LineHeight();
        }
    }
};

Graphics::Graphics(platform::PortReference port, const platform::PortRect& area) : state(std::make_unique<State>())
{
    state->port = port;
    state->area = area;
}

Graphics::~Graphics() = default;

int32_t Graphics::Width() const
{
    return state->area.width;
}

int32_t Graphics::Height() const
{
    return state->area.height;
}

void Graphics::ForeColor(Color color)
{
    state->color = qRgb(color.red, color.green, color.blue);
}

void Graphics::TextSize(int32_t points)
{
    state->size = points <= 0 ? kSmallSystemSize : points;
    state->font = nullptr;
}

void Graphics::Bold(bool bold)
{
    state->bold = bold;
    state->font = nullptr;
}

void Graphics::TextFont(const String& family)
{
    state->family = family.Bytes();
    state->font = nullptr;
}

void Graphics::FillRect(int32_t x, int32_t y, int32_t width, int32_t height)
{
    QImage& image = state->Image();
    const QRect area = ToQt(state->area).intersected(image.rect());
    // In 64 bits: a caller's sums may reach beyond the numbers that a rectangle holds.
    const auto edge = [](int64_t value, int low, int high) {
        return static_cast<int>(std::clamp<int64_t>(value, low, high));
    };
    const int64_t left = int64_t{state->area.left} + x;
    const int64_t top = int64_t{state->area.top} + y;
    const int firstColumn = edge(left, area.left(), area.right() + 1);
    const int endColumn = edge(left + width, area.left(), area.right() + 1);
    const int firstRow = edge(top, area.top(), area.bottom() + 1);
    const int endRow = edge(top + height, area.top(), area.bottom() + 1);
    for (int row = firstRow; row < endRow && firstColumn < endColumn; ++row)
        std::fill_n(reinterpret_cast<uint32_t*>(image.scanLine(row)) + firstColumn, endColumn - firstColumn,
                    state->color);
}

void Graphics::DrawRect(int32_t x, int32_t y, int32_t width, int32_t height)
{
    if (width <= 0 || height <= 0)
        return;
    FillRect(x, y, width, 1);
    FillRect(x, y + height - 1, width, 1);
    FillRect(x, y, 1, height);
    FillRect(x + width - 1, y, 1, height);
}

double Graphics::StringWidth(const String& text) const
{
    return state->Font().metrics.horizontalAdvance(ToQt(text));
}

int32_t Graphics::StringHeight(const String& text, int32_t wrapWidth) const
{
    const MeasuredFont& font = state->Font();
    return static_cast<int32_t>(BreakLines(ToQt(text), font, wrapWidth).size()) * font.LineHeight();
}

void Graphics::DrawString(const String& text, int32_t x, int32_t y, int32_t wrapWidth, bool condense)
{
    if (text.IsEmpty())
        return;
    const MeasuredFont& font = state->Font();
    if (condense && wrapWidth > 0)
        state->DrawLines({font.metrics.elidedText(ToQt(text), Qt::ElideRight, wrapWidth)}, x, y);
    else
        state->DrawLines(BreakLines(ToQt(text), font, wrapWidth), x, y);
}

int32_t Graphics::Handle(int32_t kind) const
{
    return kind == kPortHandle ? state->port : 0;
}

} // namespace framework
