// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Control.h"
#include "framework/Graphics.h"
#include "platform/drawing/View.h"

#include <functional>

namespace framework {

/// A control that is painted by its owner. Its pixels are a view of the window's port and are kept: what `Event_Paint`
/// or the platform drew stands until one of them draws again, also when the window was covered. After a change of size
/// a picture of the platform's is kept, anything else is painted again.
class Canvas : public RectControl {
public:
    bool UseFocusRing = true;
    bool AcceptFocus = false;
    bool AcceptTabs = false;
    bool EraseBackground = true;

    /// Has the canvas painted anew by `Event_Paint`: at the next turn of the event loop. With `eraseBackground` its
    /// rectangle is filled with the window's colour first.
    void Refresh(bool eraseBackground = true);

    /// Handler of the event of the same name, raised before a menu of the window's bar shows.
    std::function<void()> EnableMenuItems;

protected:
    QWidget* MakeWidget(QWidget* parent) override;
    virtual void Event_Paint(Graphics& graphics);
    void Event_EnableMenuItems() override;
    void Added() override;
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
