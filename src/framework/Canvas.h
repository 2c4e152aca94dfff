#pragma once

#include "framework/Control.h"
#include "framework/Graphics.h"

#include <functional>

namespace framework {

/// A control that is painted by its owner. Its pixels are part of the window's port and are kept: what `Event_Paint` or
/// the platform drew stands until one of them draws again, also when the window was covered.
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
    void Event_Resized() override;

private:
    friend class CanvasWidget;
    void PaintIntoPort();
    void FillBackground(int32_t x, int32_t y, int32_t width, int32_t height);
    bool paintPending = false;
    bool erasePending = false;
    int32_t filledWidth = 0; // of the canvas's rectangle, what holds pixels of its own
    int32_t filledHeight = 0;
};

} // namespace framework
