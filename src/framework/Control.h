// SPDX-License-Identifier: MIT
#pragma once

#include "framework/String.h"

#include <cstdint>

class QWidget;

namespace framework {

class Window;

/// Anything that a window owns under a name, visible or not. A control is created in three steps: add it to its window,
/// set its properties, set its handlers. In this order no handler is called for initial values.
class Control {
public:
    virtual ~Control() = default;

    /// The control's name in its window.
    const String& Name() const { return name; }

    /// The window that owns the control; null before it is added to one.
    framework::Window* Window() const { return window; }

    /// Index in a control array; -1 for a single control.
    int32_t Index = -1;

protected:
    /// Called once, after the control was added to its window. `content` is the widget that holds the window's
    /// controls.
    virtual void Added([[maybe_unused]] QWidget* content) {}

    /// Events raised by the window. All controls open before their window and close after it.
    virtual void Event_Open() {}
    virtual void Event_Close() {}
    virtual void Event_EnableMenuItems() {}

    /// Called when the picture behind the controls was replaced.
    virtual void BackdropChanged() {}

private:
    friend class Window;
    String name;
    framework::Window* window = nullptr;
};

/// The window edges to which a control keeps its distance when the window is resized.
struct Anchors {
    bool left = false;
    bool top = false;
    bool right = false;
    bool bottom = false;
};

/// A control with a rectangle in its window, in pixels from the top left corner of the window's content.
class RectControl : public Control {
public:
    ~RectControl() override;

    int32_t Left() const { return left; }     ///< left edge
    int32_t Top() const { return top; }       ///< top edge
    int32_t Width() const { return width; }   ///< width
    int32_t Height() const { return height; } ///< height
    void Left(int32_t value);                 ///< moves the control
    void Top(int32_t value);                  ///< moves the control
    void Width(int32_t value);                ///< resizes the control; 0 at least
    void Height(int32_t value);               ///< resizes the control; 0 at least
    /// Moves and resizes the control.
    void Place(int32_t left, int32_t top, int32_t width, int32_t height);

    Anchors LockedTo;

    bool Visible() const;     ///< whether the control shows while its window is shown
    void Visible(bool value); ///< shows or hides the control
    bool Enabled() const;     ///< whether the user can use the control
    void Enabled(bool value); ///< enables or disables the control

    /// Sets the name for screen readers, for a control without a text of its own.
    void AccessibleName(const String& value);

    /// The control's widget; null before the control is added to a window.
    QWidget* Widget() const { return widget; }

protected:
    virtual QWidget* MakeWidget(QWidget* parent) = 0;
    void Added(QWidget* content) override;
    /// Called when width or height has changed.
    virtual void Event_Resized() {}
    /// Called whenever the rectangle was set, after `Event_Resized`.
    virtual void Placed() {}

private:
    friend class Window;
    QWidget* widget = nullptr;
    int32_t left = 0;
    int32_t top = 0;
    int32_t width = 0;
    int32_t height = 0;
};

} // namespace framework
