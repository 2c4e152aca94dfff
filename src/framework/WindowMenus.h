// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Menu.h"

#include <memory>

class QKeyEvent;
class QMenuBar;
class QWidget;

namespace framework {

class Window;

/// The menu bar on a window's top, which shows the items of the application's bar.
class WindowMenus {
public:
    WindowMenus(Window& window, QWidget* parent, Reference<MenuBar> bar);
    ~WindowMenus();

    QMenuBar* Bar() const { return widget.get(); }

    /// Brings texts, marks, enabling and the items themselves up to date.
    void Follow();

    /// Whether an item has that key as its shortcut.
    bool HasShortcut(const QKeyEvent& key) const;

private:
    Reference<MenuBar> bar;
    std::unique_ptr<QMenuBar> widget;
    Window& window;
};

} // namespace framework
