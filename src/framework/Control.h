// SPDX-License-Identifier: MIT
#pragma once

#include "framework/String.h"

#include <cstdint>

class QWidget;

namespace framework {

class Window;

/// Anything that a window owns under a name, visible or not. A control is made in three steps: added to its window,
/// given its properties, given its handlers; so no handler is called for the initial values.
class Control {
public:
    virtual ~Control() = default;

    /// The name under which the window knows it.
    const String& Name() const { return name; }

    /// The window that owns it; null before it was added to one.
    framework::Window* Window() const { return window; }

    /// Place in a control array, -1 for a control that stands alone.
    int32_t Index = -1;

protected:
    /// Called once, when the control has been added to its window.
    virtual void Added() {}

    /// Events that the window raises, in this order: all controls open before their window does, and close after it.
    virtual void Event_Open() {}
    virtual void Event_Close() {}
    virtual void Event_EnableMenuItems() {}

private:
    friend class Window;
    String name;
    framework::Window* window = nullptr;
};

/// Edges of its window that a control keeps its distance to as the window grows.
struct Anchors {
    bool left = false;
    bool top = false;
    bool right = false;
    bool bottom = false;
};

/// A control with a place in its window, in pixels from the top left corner of the window's content.
class RectControl : public Control {
public:
    ~RectControl() override;

    /// The place and size, each as a property of its own. Setting one moves or resizes the control at once.
    int32_t Left() const { return left; }
    int32_t Top() const { return top; }
    int32_t Width() const { return width; }
    int32_t Height() const { return height; }
    void Left(int32_t value);
    void Top(int32_t value);
    void Width(int32_t value);
    void Height(int32_t value);
    /// All four at once.
    void Place(int32_t left, int32_t top, int32_t width, int32_t height);

    Anchors LockedTo;

    /// Whether it shows while its window does.
    bool Visible() const;
    void Visible(bool value);
    /// Whether the user can work it.
    bool Enabled() const;
    void Enabled(bool value);

    /// Name for screen readers, where the control has no text of its own.
    void AccessibleName(const String& value);

    /// The widget behind it; null before the control was added to a window.
    QWidget* Widget() const { return widget; }

protected:
    virtual QWidget* MakeWidget(QWidget* parent) = 0;
    void Added() override;
    /// Called when width or height have changed.
    virtual void Event_Resized() {}
    /// Called whenever the place was set, after `Event_Resized`.
    virtual void Placed() {}

private:
    friend class Window;
    QWidget* widget = nullptr;
    int32_t left = 0;
    int32_t top = 0;
    int32_t width = 0;
    int32_t height = 0;
};

/// Fonts of a control's text: "System" and "SmallSystem" name the interface fonts, size 0 their own size.
struct ControlFont {
    String family = "System";
    int32_t size = 0;
    bool bold = false;
};

} // namespace framework
