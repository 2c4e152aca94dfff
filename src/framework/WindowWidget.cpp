// SPDX-License-Identifier: MIT
#include "framework/WindowWidget.h"

#include "framework/Application.h"
#include "framework/Guard.h"
#include "framework/PictureActions.h"
#include "framework/Runtime.h"

#include <QApplication>
#include <QCloseEvent>
#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QMenuBar>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QScreen>

#include <algorithm>

namespace framework {
namespace {

// Space for the window manager's frame.
constexpr int kFrameWidth = 16;
constexpr int kFrameHeight = 48;

class ContentWidget : public QWidget {
public:
    explicit ContentWidget(WindowWidget* parent) : QWidget(parent) {}

protected:
    void paintEvent(QPaintEvent* event) override
    {
        QPainter painter(this);
        static_cast<const WindowWidget*>(parentWidget())->PaintBackground(painter, event->rect());
    }
};

} // namespace

WindowWidget::WindowWidget(Window& owner) : owner(owner), content(new ContentWidget(this))
{
    RebuildMenus();
}

void WindowWidget::RebuildMenus()
{
    const auto application = Application::Instance();
    const auto bar = application ? application->MenuBar() : nullptr;
    menus.reset();
    if (bar && owner.MenuBarVisible) {
        menus = std::make_unique<WindowMenus>(
            this, bar, [this] { owner.UpdateMenus(); },
            [this](const Reference<MenuItem>& item) { owner.ChooseMenuItem(item); });
        menus->Bar()->show();
    }
    ApplyLimits();
    FitContent(owner.Width(), owner.Height());
}

int WindowWidget::BarHeight() const
{
    return menus ? menus->Bar()->sizeHint().height() : 0;
}

void WindowWidget::ApplyLimits()
{
    if (!owner.Resizeable)
        return;
    setMinimumSize(owner.MinWidth, owner.MinHeight + BarHeight());
    setMaximumSize(owner.MaxWidth, owner.MaxHeight + BarHeight());
}

void WindowWidget::FitContent(int32_t width, int32_t height)
{
    const QSize wanted(width, height);
    shownScale = ScaleToFit(wanted);
    const QSize size = (QSizeF(wanted) * shownScale).toSize() + QSize(0, BarHeight());
    if (!owner.Resizeable)
        setFixedSize(size);
    resize(size);
    PlaceContent();
}

// A window that cannot be resized and shows a picture is scaled down to fit the screen.
double WindowWidget::ScaleToFit(const QSize& size) const
{
    if (owner.Resizeable || !owner.state->backdrop)
        return 1;
    const QSize screenful = screen()->availableSize() - QSize(kFrameWidth, kFrameHeight + BarHeight());
    return std::min({1.0, double(screenful.width()) / size.width(), double(screenful.height()) / size.height()});
}

QImage WindowWidget::Picture() const
{
    return owner.state->backdrop ? owner.state->backdrop->Image() : QImage();
}

bool WindowWidget::IsOnPicture(const QPoint& place) const
{
    const QSizeF size = QSizeF(Picture().size()) * shownScale;
    return QRectF(content->pos(), size).contains(place);
}

void WindowWidget::PlaceContent()
{
    if (menus)
        menus->Bar()->setGeometry(0, 0, width(), BarHeight());
    content->setGeometry(0, BarHeight(), width(), std::max(height() - BarHeight(), 0));
}

void WindowWidget::PaintBackground(QPainter& painter, const QRect& area) const
{
    const Color back = owner.BackColor;
    painter.fillRect(area,
                     owner.HasBackColor ? QColor(back.red, back.green, back.blue) : palette().color(QPalette::Window));
    const QImage image = Picture();
    if (image.isNull())
        return;
    // On a scaled desktop the picture is enlarged; without smoothing every pixel would be a visible block.
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.setClipRect(area, Qt::IntersectClip);
    painter.drawImage(QRectF(QPointF(), QSizeF(image.size()) * shownScale), image);
}

void WindowWidget::resizeEvent(QResizeEvent*)
{
    PlaceContent();
    if (shownScale == 1)
        Guard([this] { owner.ContentResized(content->width(), content->height()); });
}

void WindowWidget::closeEvent(QCloseEvent* event)
{
    event->setAccepted(owner.CloseButton && (!owner.EndsProgram || RequestQuit()));
    if (event->isAccepted())
        Guard([this] { owner.Close(); });
}

void WindowWidget::keyPressEvent(QKeyEvent* event)
{
    bool done = false;
    Guard([&] { done = DoOwnKey(*event); });
    if (!done)
        QWidget::keyPressEvent(event);
}

bool WindowWidget::DoOwnKey(const QKeyEvent& key)
{
    const bool plain = key.modifiers() == Qt::NoModifier;
    // F10 opens the menu bar on most desktops; most menus have no mnemonic.
    if (plain && key.key() == Qt::Key_F10 && menus)
        menus->Bar()->setActiveAction(menus->Bar()->actions().value(0));
    else if (plain && key.key() == Qt::Key_Escape && owner.CloseButton && !owner.EndsProgram)
        close();
    else
        return !Picture().isNull() && DoPictureKey(Picture(), key);
    return true;
}

void WindowWidget::contextMenuEvent(QContextMenuEvent* event)
{
    // The menu key opens it wherever the pointer is.
    if (event->reason() == QContextMenuEvent::Keyboard ? !Picture().isNull() : IsOnPicture(event->pos()))
        Guard([&] { ShowPictureMenu(this, Picture(), owner.state->backdrop->Undrawn(), event->globalPos()); });
}

void WindowWidget::mousePressEvent(QMouseEvent* event)
{
    pressed = event->position().toPoint();
}

void WindowWidget::mouseMoveEvent(QMouseEvent* event)
{
    const int moved = (event->position().toPoint() - pressed).manhattanLength();
    if ((event->buttons() & Qt::LeftButton) && IsOnPicture(pressed) && moved >= QApplication::startDragDistance())
        Guard([this] { DragPicture(this, Picture()); });
}

bool WindowWidget::event(QEvent* event)
{
    // Sent before a key is handled as a shortcut: the last moment to update which items are enabled.
    if (event->type() == QEvent::ShortcutOverride && menus && menus->HasShortcut(*static_cast<QKeyEvent*>(event)))
        Guard([this] { owner.UpdateMenus(); });
    return QWidget::event(event);
}

} // namespace framework
