// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Menu.h"

#include <memory>

class QKeyEvent;
class QMenuBar;
class QWidget;

namespace framework {

class Window;

/// The menu bar of a window, which shows the items of the application's menu bar.
class WindowMenus {
public:
    /// Creates the menu bar widget in `parent`. `window` must outlive the object.
    WindowMenus(Window& window, QWidget* parent, Reference<MenuBar> bar);
    ~WindowMenus();

    QMenuBar* Bar() const { return widget.get(); } ///< the widget, owned by this object

    /// Updates the items, their texts, check marks and enabling.
    void Follow();

    /// Whether an item has that key as its shortcut.
    bool HasShortcut(const QKeyEvent& key) const;

private:
    Reference<MenuBar> bar;
    std::unique_ptr<QMenuBar> widget;
    Window& window;
};

} // namespace framework
