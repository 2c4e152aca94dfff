// SPDX-License-Identifier: MIT
// Drawing into a port.
//
// Each operation asks the port where to draw, so the port may change its size or be released at any time. If the pixels
// are denser or coarser than the port's points (the view of a canvas on a scaled desktop), everything is drawn at that
// scale, and no line becomes thinner than a pixel. Drawing on a reduced picture is also recorded, and repeated when the
// whole picture is needed. Fills write the pixels directly. Text goes through a painter over an image that is kept as
// long as the pixels stay at the same address, and with it the painter's engine; font and metrics are created when
// first needed after a change. So drawing the same few words on every frame of a live picture allocates nothing.
#include "framework/Graphics.h"

#include "framework/PortImage.h"
#include "framework/QtText.h"
#include "platform/drawing/View.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QStringList>
#include <QTextLayout>

#include <algorithm>
#include <cmath>
#include <map>
#include <optional>
#include <tuple>
#include <vector>

namespace framework {
namespace {

constexpr int32_t kPortHandle = 2;

struct MeasuredFont {
    explicit MeasuredFont(const QFont& font) : font(font), metrics(font) {}
    QFont font;
    QFontMetricsF metrics;

    int32_t LineHeight() const { return static_cast<int32_t>(std::ceil(metrics.ascent() + metrics.descent())); }

    /// The width of a text. Text on a live picture is measured several times per frame and rarely changes.
    double WidthOf(const QString& text) const
    {
        if (text != measured) {
            width = metrics.horizontalAdvance(text);
            measured = text;
        }
        return width;
    }

private:
    mutable QString measured;
    mutable double width = 0;
};

// The few fonts that a program draws with. All objects share them, since a live picture gets a new object whenever its
// size changes.
const MeasuredFont& FontFor(const std::string& family, int32_t size, bool bold)
{
    // Never destroyed: pictures may outlive the application object, but fonts must not.
    static auto& fonts = *new std::map<std::tuple<std::string, int32_t, bool>, MeasuredFont>;
    auto key = std::make_tuple(family, size, bold);
    const auto found = fonts.find(key);
    if (found != fonts.end())
        return found->second;
    QFont font = InterfaceFont(family, size, bold);
    // Text is scaled with its picture, which would make coloured fringes visible.
    font.setStyleStrategy(QFont::NoSubpixelAntialias);
    return fonts.emplace(std::move(key), MeasuredFont(font)).first->second;
}

QStringList BreakLines(const QString& text, const MeasuredFont& font, int32_t wrapWidth)
{
    QStringList lines;
    for (const QString& paragraph : text.split('\n')) {
        if (wrapWidth <= 0 || font.WidthOf(paragraph) <= wrapWidth) {
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

namespace {

struct Run {
    int first;
    int end;
};

// The pixels of `length` points from `start` on, clipped to 0 to `limit`. Computes in 64 bits, since sums may exceed
// 32 bits.
Run PixelRun(int32_t start, int32_t length, int32_t limit, int32_t origin, double scale, int32_t pixels)
{
    const auto low = static_cast<double>(origin + std::clamp<int64_t>(start, 0, limit)) * scale;
    const auto high = static_cast<double>(origin + std::clamp<int64_t>(int64_t{start} + length, 0, limit)) * scale;
    if (high <= low)
        return {0, 0};
    const double first = scale < 1 ? std::floor(low) : std::round(low);
    const double end = scale < 1 ? std::ceil(high) : std::round(high);
    return {static_cast<int>(std::clamp<double>(first, 0, pixels)),
            static_cast<int>(std::clamp<double>(end, 0, pixels))};
}

// A filled rectangle that can be drawn more than once.
struct Fill {
    platform::PortRect area;
    uint32_t color;
    int32_t x, y, width, height;

    Run Columns(const platform::DrawingSurface& surface) const
    {
        return PixelRun(x, width, area.width, area.left - surface.left, surface.scaleX, surface.pixels.width);
    }
    Run Rows(const platform::DrawingSurface& surface) const
    {
        return PixelRun(y, height, area.height, area.top - surface.top, surface.scaleY, surface.pixels.height);
    }

    QRect Place(const platform::DrawingSurface& surface) const
    {
        const Run columns = Columns(surface);
        const Run rows = Rows(surface);
        return {columns.first, rows.first, columns.end - columns.first, rows.end - rows.first};
    }

    void operator()(const platform::DrawingSurface& surface, QImage&) const
    {
        const Run columns = Columns(surface);
        const Run rows = Rows(surface);
        for (int row = rows.first; row < rows.end && columns.first < columns.end; ++row) {
            uint8_t* const start = surface.pixels.pixels + ptrdiff_t{row} * surface.pixels.rowBytes;
            std::fill_n(reinterpret_cast<uint32_t*>(start) + columns.first, columns.end - columns.first, color);
        }
    }
};

// The pixels that drawings covered, a piece for each drawing, in one buffer that is reused for each picture.
struct Covered {
    struct Piece {
        QRect place;
        size_t start;
    };

    void Keep(const QImage& image, const QRect& wanted)
    {
        const QRect place = wanted.intersected(image.rect());
        if (place.isEmpty())
            return;
        pieces.push_back({place, pixels.size()});
        for (int row = place.top(); row <= place.bottom(); ++row) {
            const auto* line = reinterpret_cast<const uint32_t*>(image.constScanLine(row)) + place.left();
            pixels.insert(pixels.end(), line, line + place.width());
        }
    }

    void PutBack(QImage& image) const
    {
        for (auto piece = pieces.rbegin(); piece != pieces.rend(); ++piece) {
            const uint32_t* from = pixels.data() + piece->start;
            for (int row = piece->place.top(); row <= piece->place.bottom(); ++row, from += piece->place.width())
                std::copy_n(from, piece->place.width(),
                            reinterpret_cast<uint32_t*>(image.scanLine(row)) + piece->place.left());
        }
    }

    void Clear()
    {
        pieces.clear();
        pixels.clear();
    }

    std::vector<Piece> pieces;
    std::vector<uint32_t> pixels;
};

// Lines of text that can be drawn more than once.
struct Lines {
    platform::PortRect area;
    uint32_t color;
    const MeasuredFont* font;
    QStringList lines;
    int32_t x, y;

    // Includes a margin of one line height, since letters may extend beyond their line.
    QRect Place(const platform::DrawingSurface& surface) const
    {
        const int32_t line = font->LineHeight();
        double width = 0;
        for (const QString& each : lines)
            width = std::max(width, font->WidthOf(each));
        const QRectF points(area.left + x - line - surface.left, area.top + y - 2 * line - surface.top,
                            width + 2 * line, line * (static_cast<double>(lines.size()) + 2));
        return QRectF(points.x() * surface.scaleX, points.y() * surface.scaleY, points.width() * surface.scaleX,
                      points.height() * surface.scaleY)
            .toAlignedRect();
    }

    void operator()(const platform::DrawingSurface& surface, QImage& image) const
    {
        QPainter painter(&image);
        painter.scale(surface.scaleX, surface.scaleY);
        painter.translate(-surface.left, -surface.top);
        painter.setClipRect(ToQt(area));
        painter.translate(area.left, area.top);
        painter.setFont(font->font);
        painter.setPen(QColor::fromRgb(color));
        int32_t baseline = y;
        for (const QString& line : lines) {
            painter.drawText(x, baseline, line);
            baseline += font->LineHeight();
        }
    }
};

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
    std::shared_ptr<Covered> covered; // null: not kept

    const MeasuredFont& Font()
    {
        if (font == nullptr)
            font = &FontFor(family, size, bold);
        return *font;
    }

    // Draws on the port's present surface, and records the drawing if that is reduced.
    template <typename Drawing> void Draw(Drawing drawing)
    {
        const auto surface = platform::SurfaceForDrawing(port, area);
        if (!surface || surface->pixels.width < 1 || surface->pixels.format != platform::kPixelFormat32)
            return;
        const platform::PortPixels& pixels = surface->pixels;
        if (image.constBits() != pixels.pixels || image.width() != pixels.width || image.height() != pixels.height ||
            image.bytesPerLine() != pixels.rowBytes)
            image = ImageOf(pixels);
        // Drawing on a reduced picture is repeated on the whole one; it is early enough to keep the pixels then.
        if (covered && !surface->isReduced)
            covered->Keep(image, drawing.Place(*surface));
        drawing(*surface, image);
        if (surface->isReduced)
            platform::NoteDrawing(
                port, [drawing = std::move(drawing), kept = covered](const platform::DrawingSurface& whole) {
                    QImage all = ImageOf(whole.pixels);
                    if (kept)
                        kept->Keep(all, drawing.Place(whole));
                    drawing(whole, all);
                });
    }

    void DrawLines(const QStringList& lines, int32_t x, int32_t y) { Draw(Lines{area, color, &Font(), lines, x, y}); }
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
    state->Draw(Fill{state->area, state->color, x, y, width, height});
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
    return state->Font().WidthOf(ToQt(text));
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

void Graphics::KeepCovered()
{
    state->covered = std::make_shared<Covered>();
}

void Graphics::ForgetDrawing()
{
    if (state->covered)
        state->covered->Clear();
}

bool Graphics::Uncover(QImage& uncovered) const
{
    if (!state->covered || state->covered->pieces.empty())
        return false;
    state->covered->PutBack(uncovered);
    return true;
}

int32_t Graphics::Handle(int32_t kind) const
{
    return kind == kPortHandle ? state->port : 0;
}

} // namespace framework
