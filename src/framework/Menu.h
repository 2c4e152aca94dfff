// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Reference.h"
#include "framework/String.h"

#include <vector>

class QMenuBar;

namespace framework {

/// An item of a menu, a menu or a separator (text "-"). An ampersand in `Text` marks the mnemonic letter; "Cmd+S" as a
/// shortcut is Ctrl+S on this system's keyboards.
class MenuItem : public std::enable_shared_from_this<MenuItem> {
public:
    virtual ~MenuItem() = default;

    String Name;
    bool AutoEnable = true;
    String Text;
    bool HasMnemonic = true; ///< false: an ampersand is shown as it is, for device names
    String KeyboardShortcut;
    bool Checked = false;
    bool Enabled = true;

    /// Enables the item; for an `EnableMenuItems` handler.
    void Enable() { Enabled = true; }

    /// Adds an item or submenu at the end.
    void Append(Reference<MenuItem> item);
    int32_t Count() const;                         ///< number of items
    Reference<MenuItem> Item(int32_t index) const; ///< an item by its index from 0; nil if out of range

    /// The direct child of that name; nil if there is none.
    Reference<MenuItem> Child(const String& name) const;

    /// The first item of that name at any level; nil if there is none.
    Reference<MenuItem> _Lookup(const String& name) const;

private:
    std::vector<Reference<MenuItem>> items;
};

/// The item that ends the application.
class QuitMenuItem : public MenuItem {};

/// The menu bar: its items are the menus.
class MenuBar : public MenuItem {};

} // namespace framework
