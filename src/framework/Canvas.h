// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Control.h"
#include "framework/Graphics.h"
#include "platform/drawing/View.h"

#include <functional>

namespace framework {

/// A control that is painted by its owner. Its pixels are a view of the window's port and are kept: what `Event_Paint`
/// or the platform drew stays until one of them draws again, even if the window was covered meanwhile. After a change
/// of size a frame of the platform is kept and anything else is painted again.
class Canvas : public RectControl {
public:
    bool UseFocusRing = true;
    bool AcceptFocus = false;
    bool AcceptTabs = false;
    bool EraseBackground = true;

    /// Requests a repaint, which the event loop does through `Event_Paint`. With `eraseBackground` the rectangle is
    /// first filled with the window's background.
    void Refresh(bool eraseBackground = true);

    /// Called before a menu of the window is shown.
    std::function<void()> EnableMenuItems;

protected:
    QWidget* MakeWidget(QWidget* parent) override;
    virtual void Event_Paint(Graphics& graphics);
    void Event_EnableMenuItems() override;
    void Added(QWidget* content) override;
    void BackdropChanged() override;
    void Placed() override;

private:
    friend class CanvasWidget;
    void FitView();
    void PaintIntoView();
    void FillBackground();
    std::shared_ptr<platform::View> view; // null before the canvas was added to a window
    bool paintPending = false;
    bool erasePending = false;
};

} // namespace framework
