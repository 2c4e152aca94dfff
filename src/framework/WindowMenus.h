// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Menu.h"

#include <functional>
#include <memory>

class QKeyEvent;
class QMenuBar;
class QWidget;

namespace framework {

/// The menu bar of a window, which shows the items of the application's menu bar.
class WindowMenus {
public:
    /// Creates the menu bar widget in `parent`. `update` is called before a menu shows, to bring the items of `bar` up
    /// to date; `choose` is called for each item that the user chooses.
    WindowMenus(QWidget* parent, Reference<MenuBar> bar, std::function<void()> update,
                std::function<void(const Reference<MenuItem>& item)> choose);
    ~WindowMenus();

    QMenuBar* Bar() const { return widget.get(); } ///< the widget, owned by this object

    /// Updates the items, their texts, check marks and enabling.
    void Follow();

    /// Whether an item has that key as its shortcut.
    bool HasShortcut(const QKeyEvent& key) const;

private:
    Reference<MenuBar> bar;
    std::unique_ptr<QMenuBar> widget;
    std::function<void()> update;
    std::function<void(const Reference<MenuItem>& item)> choose;
};

} // namespace framework
