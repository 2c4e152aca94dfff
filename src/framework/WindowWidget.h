// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Window.h"
#include "framework/WindowMenus.h"

#include <QImage>
#include <QPoint>
#include <QWidget>

class QPainter;

namespace framework {

/// The widget of a window: a menu bar above the content, which is a widget of its own.
class WindowWidget : public QWidget {
public:
    explicit WindowWidget(Window& owner);

    QWidget* Content() const { return content; }

    /// Builds the menu bar anew from that of the application.
    void RebuildMenus();
    WindowMenus* Menus() const { return menus.get(); }

    /// Gives the content a size; a window that the user can't resize is held at it. A picture larger than the screen is
    /// shown smaller, so that all of it is seen.
    void FitContent(int32_t width, int32_t height);

    /// The limits of the user's resizing.
    void ApplyLimits();

    /// Draws what lies behind the controls in a rectangle of the content.
    void PaintBackground(QPainter& painter, const QRect& area) const;

protected:
    void resizeEvent(QResizeEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    bool event(QEvent* event) override;

private:
    int BarHeight() const;
    void PlaceContent();
    double ScaleToFit(const QSize& size) const;
    QImage Picture() const;
    bool IsOnPicture(const QPoint& place) const;
    bool DoOwnKey(const QKeyEvent& key);

    Window& owner;
    QWidget* content;
    std::unique_ptr<WindowMenus> menus;
    double shownScale = 1; ///< of the picture behind the controls
    QPoint pressed;        ///< where the mouse was pressed last
};

/// What a window keeps.
struct Window::State {
    String title;
    String titleNote;
    int32_t width = 300;
    int32_t height = 300;
    bool visible = true;
    bool opened = false;
    bool closed = false;
    Reference<Picture> backdrop;
    std::vector<std::shared_ptr<Control>> controls;
    std::map<std::string, std::function<bool()>> handlers;
    platform::PortReference port = 0;
    int32_t reference = 0;
    std::unique_ptr<WindowWidget> widget; // null before `Construct`
};

} // namespace framework
