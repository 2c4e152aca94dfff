// SPDX-License-Identifier: MIT
// A canvas and its widget.
//
// The pixels of a canvas are a view of its window's port, at the density of the screen. They are drawn by
// `Event_Paint`, through `PaintIntoView` and only on request, and by the platform, which shows its frames there. The
// widget paints nothing itself: it copies the view's pixels to the screen whenever the screen needs them. So a frame
// stays until the next frame or a requested paint replaces it.
//
// A canvas that changes its size keeps its content. A frame follows the view; what `Event_Paint` drew is stretched and
// painted again by the event loop.
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

void CanvasWidget::paintEvent(QPaintEvent*)
{
    // Only now is the screen's density certain: the window may have moved to another screen.
    canvas.FitView();
    QImage image = ImageOf(canvas.view->Pixels());
    image.setDevicePixelRatio(canvas.view->Density());
    QPainter painter(this);
    painter.drawImage(QPoint(), image);
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

QWidget* Canvas::MakeWidget(QWidget* parent)
{
    return new CanvasWidget(*this, parent);
}

void Canvas::Event_Paint(Graphics&) {}

void Canvas::Event_EnableMenuItems()
{
    Raise(EnableMenuItems);
}

void Canvas::BackdropChanged()
{
    Refresh();
}

void Canvas::Added(QWidget* content)
{
    RectControl::Added(content);
    view = platform::View::Register(Window()->Port(), [this] {
        if (Widget() != nullptr)
            Widget()->repaint();
    });
}

void Canvas::Placed()
{
    if (Widget() != nullptr)
        FitView();
}

// Moves the view to the canvas's rectangle and the screen's density.
void Canvas::FitView()
{
    const platform::PortRect area{Left(), Top(), Width(), Height()};
    const double density = Widget()->devicePixelRatioF();
    const platform::PortRect& old = view->Area();
    const bool fits = old.width == area.width && old.height == area.height && view->Density() == density;
    view->Update(area, density);
    if (!fits && !view->ShowsPicture())
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
    QTimer::singleShot(0, Widget(), [this] { Guard([this] { PaintIntoView(); }); });
}

void Canvas::PaintIntoView()
{
    paintPending = false;
    if (std::exchange(erasePending, false))
        FillBackground();
    Graphics graphics(Window()->Port(), view->Area());
    Event_Paint(graphics);
    Widget()->update();
}

void Canvas::FillBackground()
{
    const auto surface = platform::SurfaceForDrawing(Window()->Port(), view->Area());
    if (!surface)
        return;
    QImage image = ImageOf(surface->pixels);
    QPainter painter(&image);
    painter.scale(surface->scaleX, surface->scaleY);
    painter.translate(-surface->left, -surface->top);
    const QRect area = ToQt(view->Area());
    static_cast<const WindowWidget*>(Widget()->window())->PaintBackground(painter, area);
}

} // namespace framework
