// SPDX-License-Identifier: MIT
#include "framework/WindowWidget.h"

#include "framework/Application.h"
#include "framework/Guard.h"
#include "framework/Runtime.h"

#include <QCloseEvent>
#include <QKeyEvent>
#include <QMenuBar>
#include <QPaintEvent>
#include <QPainter>

#include <algorithm>

namespace framework {
namespace {

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
    const auto application = TheApplication();
    const auto bar = application ? application->MenuBar() : nullptr;
    menus.reset();
    if (bar && owner.MenuBarVisible) {
        menus = std::make_unique<WindowMenus>(owner, this, bar);
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
    const QSize size(width, height + BarHeight());
    if (!owner.Resizeable)
        setFixedSize(size);
    resize(size);
    PlaceContent();
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
    if (!owner.state->backdrop)
        return;
    const QImage image = owner.state->backdrop->Image();
    // On a scaled desktop the picture is enlarged, which shows every pixel as a block unless neighbours are mixed.
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.setClipRect(area, Qt::IntersectClip);
    painter.drawImage(QPoint(), image);
}

void WindowWidget::resizeEvent(QResizeEvent*)
{
    PlaceContent();
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
    // The key by which desktops open a menu bar: most menus have no letter of their own.
    if (event->key() == Qt::Key_F10 && event->modifiers() == Qt::NoModifier && menus)
        menus->Bar()->setActiveAction(menus->Bar()->actions().value(0));
    else
        QWidget::keyPressEvent(event);
}

bool WindowWidget::event(QEvent* event)
{
    // Comes before a key is taken as a shortcut: the last moment to tell which items are enabled.
    if (event->type() == QEvent::ShortcutOverride && menus && menus->HasShortcut(*static_cast<QKeyEvent*>(event)))
        Guard([this] { owner.UpdateMenus(); });
    return QWidget::event(event);
}

} // namespace framework
