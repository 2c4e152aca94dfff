// A canvas and its widget.
//
// The pixels of a canvas are its rectangle of the window's port. Two draw into them: `Event_Paint`, through
// `PaintIntoPort` and only when asked for, and the platform, which shows frames there by itself. The widget paints
// nothing of its own: it copies pixels of the port to the screen whenever the screen needs them. So a frame stays until
// the next one, or a paint that someone asked for, takes its place.
//
// A canvas that changes its size keeps what it shows. What the growth uncovers is given the window's background at
// once, and the whole is painted anew at the next turn of the event loop.
#include "framework/Canvas.h"

#include "framework/CanvasWidget.h"
#include "framework/Guard.h"
#include "framework/PortImage.h"
#include "framework/QtText.h"
#include "framework/WindowWidget.h"

#include <QPaintEvent>
#include <QPainter>
#include <QStyle>
#include <QStyleOptionFocusRect>
#include <QTimer>

namespace framework {

CanvasWidget::CanvasWidget(Canvas& canvas, QWidget* parent) : QWidget(parent), canvas(canvas)
{
    setAttribute(Qt::WA_OpaquePaintEvent);
}

void CanvasWidget::paintEvent(QPaintEvent* event)
{
    QPainter painter(this);
    const QImage image = ImageOfPort(canvas.Window()->Port());
    const QPoint corner(canvas.Left(), canvas.Top());
    const QRect source = event->rect().translated(corner).intersected(image.rect());
    painter.drawImage(source.topLeft() - corner, image, source);
    if (hasFocus() && canvas.UseFocusRing) {
        QStyleOptionFocusRect ring;
        ring.initFrom(this);
        style()->drawPrimitive(QStyle::PE_FrameFocusRect, &ring, &painter, this);
    }
}

void CanvasWidget::showEvent(QShowEvent*)
{
    setFocusPolicy(canvas.AcceptFocus ? Qt::StrongFocus : Qt::NoFocus);
    if (!shown)
        canvas.Refresh();
    shown = true;
}

void CanvasWidget::moveEvent(QMoveEvent*)
{
    canvas.Refresh();
}

QWidget* Canvas::MakeWidget(QWidget* parent)
{
    return new CanvasWidget(*this, parent);
}

void Canvas::Event_Paint(Graphics&) {}

void Canvas::Event_EnableMenuItems()
{
    Raise(EnableMenuItems);
}

void Canvas::Event_Resized()
{
    if (Widget() == nullptr)
        return;
    FillBackground(filledWidth, 0, Width() - filledWidth, Height());
    FillBackground(0, filledHeight, Width(), Height() - filledHeight);
    filledWidth = Width();
    filledHeight = Height();
    Refresh();
}

void Canvas::Refresh(bool eraseBackground)
{
    if (Widget() == nullptr)
        return;
    erasePending = erasePending || (eraseBackground && EraseBackground);
    if (paintPending)
        return;
    paintPending = true;
    QTimer::singleShot(0, Widget(), [this] { Guard([this] { PaintIntoPort(); }); });
}

void Canvas::PaintIntoPort()
{
    paintPending = false;
    if (std::exchange(erasePending, false))
        FillBackground(0, 0, Width(), Height());
    Graphics graphics(Window()->Port(), {Left(), Top(), Width(), Height()});
    Event_Paint(graphics);
    Widget()->update();
}

void Canvas::FillBackground(int32_t x, int32_t y, int32_t width, int32_t height)
{
    QImage image = ImageOfPort(Window()->Port());
    const QRect area = QRect(Left() + x, Top() + y, width, height).intersected(image.rect());
    if (area.isEmpty())
        return;
    QPainter painter(&image);
    static_cast<const WindowWidget*>(Widget()->window())->PaintBackground(painter, area);
}

} // namespace framework
