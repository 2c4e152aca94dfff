// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Window.h"
#include "framework/WindowMenus.h"

#include <QImage>
#include <QPoint>
#include <QWidget>

class QPainter;

namespace framework {

/// The top-level widget of a window: a menu bar above the content widget.
class WindowWidget : public QWidget {
public:
    /// `owner` must outlive the widget.
    explicit WindowWidget(Window& owner);

    QWidget* Content() const { return content; } ///< the parent of the controls' widgets

    /// Rebuilds the menu bar from that of the application.
    void RebuildMenus();
    WindowMenus* Menus() const { return menus.get(); } ///< null without a menu bar

    /// Sets the size of the content, and fixes it if the window is not resizeable. A picture larger than the screen is
    /// scaled down to fit.
    void FitContent(int32_t width, int32_t height);

    /// Applies the window's minimum and maximum size.
    void ApplyLimits();

    /// Draws the background of the controls in `area` of the content: the window's colour and its picture.
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
    double shownScale = 1; ///< of the background picture
    QPoint pressed;        ///< where the mouse button was last pressed
};

/// The private state of a window.
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
