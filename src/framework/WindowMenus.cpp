// SPDX-License-Identifier: MIT
// A menu bar of widgets over the application's tree of items.
//
// The tree is plain data that any code may change. The widgets are updated when it matters: before a menu is shown and
// before a shortcut is looked up. Each action holds its item; a menu whose items are no longer those of the tree is
// filled again.
#include "framework/WindowMenus.h"

#include "framework/Guard.h"
#include "framework/QtText.h"

#include <QAction>
#include <QKeyEvent>
#include <QKeySequence>
#include <QMenu>
#include <QMenuBar>

namespace framework {
namespace {

constexpr qsizetype kMaxLabelLength = 80;

class ItemAction : public QAction {
public:
    ItemAction(Reference<MenuItem> item, QObject* parent) : QAction(parent), item(std::move(item)) {}
    const Reference<MenuItem> item;
    bool showsMenu = false;
};

QKeySequence ShortcutOf(const MenuItem& item)
{
    return QKeySequence(ToQt(ReplaceAll(item.KeyboardShortcut, "Cmd+", "Ctrl+")));
}

QString LabelOf(const MenuItem& item)
{
    QString label = OneLine(item.Text, kMaxLabelLength);
    return item.HasMnemonic ? label : label.replace('&', "&&");
}

// A menu has items or is in the menu bar.
bool IsMenu(const MenuItem& item, const QWidget* parent)
{
    return item.Count() > 0 || qobject_cast<const QMenuBar*>(parent) != nullptr;
}

bool Shows(const QWidget* parent, const MenuItem& owner)
{
    const auto actions = parent->actions();
    if (actions.size() != owner.Count())
        return false;
    for (int32_t i = 0; i < owner.Count(); ++i) {
        const auto* action = static_cast<const ItemAction*>(actions[i]);
        if (!(action->item == owner.Item(i)) || action->showsMenu != IsMenu(*action->item, parent))
            return false;
    }
    return true;
}

void UpdateAction(ItemAction& action)
{
    const MenuItem& item = *action.item;
    // Some styles draw the text of a separator.
    const bool separates = item.Text == "-";
    action.setSeparator(separates);
    action.setText(separates ? QString() : LabelOf(item));
    action.setShortcut(ShortcutOf(item));
    action.setCheckable(item.Checked);
    action.setChecked(item.Checked);
    action.setEnabled(action.showsMenu || item.Enabled);
}

// `openMenu` is called before a menu is shown, `choose` when an item is chosen.
template <typename OpenMenu, typename Choose>
void FillMenu(QWidget* parent, const MenuItem& owner, const OpenMenu& openMenu, const Choose& choose)
{
    // Delete them later, since this may run within a signal of one of them.
    for (QAction* action : parent->actions()) {
        parent->removeAction(action);
        if (auto* menu = action->menu<QMenu*>())
            menu->deleteLater();
        action->deleteLater();
    }
    for (int32_t i = 0; i < owner.Count(); ++i) {
        const auto item = owner.Item(i);
        auto* action = new ItemAction(item, parent);
        action->setObjectName(ToQt(item->Name));
        action->showsMenu = IsMenu(*item, parent);
        if (action->showsMenu) {
            auto* menu = new QMenu(parent);
            menu->setObjectName(ToQt(item->Name));
            menu->setAccessibleName(OneLine(item->Text).remove('&'));
            action->setMenu(menu);
            QObject::connect(menu, &QMenu::aboutToShow, parent, openMenu);
        } else {
            QObject::connect(action, &QAction::triggered, parent, [choose, item] { choose(item); });
        }
        parent->addAction(action);
    }
}

template <typename OpenMenu, typename Choose>
void FollowMenu(QWidget* parent, const MenuItem& owner, const OpenMenu& openMenu, const Choose& choose)
{
    if (!Shows(parent, owner))
        FillMenu(parent, owner, openMenu, choose);
    for (QAction* plain : parent->actions()) {
        auto* action = static_cast<ItemAction*>(plain);
        UpdateAction(*action);
        if (action->showsMenu)
            FollowMenu(action->menu<QMenu*>(), *action->item, openMenu, choose);
    }
}

bool ShowsShortcut(const QWidget* parent, const QKeySequence& key)
{
    for (const QAction* action : parent->actions()) {
        if (action->shortcut() == key)
            return true;
        if (const QWidget* menu = action->menu<QMenu*>(); menu != nullptr && ShowsShortcut(menu, key))
            return true;
    }
    return false;
}

} // namespace

WindowMenus::WindowMenus(QWidget* parent, Reference<MenuBar> bar, std::function<void()> update,
                         std::function<void(const Reference<MenuItem>& item)> choose)
    : bar(std::move(bar)),
      widget(std::make_unique<QMenuBar>(parent)),
      update(std::move(update)),
      choose(std::move(choose))
{
    // The menu bar is part of the window's layout, even if the desktop has a global menu bar.
    widget->setNativeMenuBar(false);
    Follow();
}

WindowMenus::~WindowMenus() = default;

void WindowMenus::Follow()
{
    // A handler may replace the menus while it runs.
    FollowMenu(
        widget.get(), *bar, [update = update] { Guard(update); },
        [choose = choose](const Reference<MenuItem>& item) { Guard([&] { choose(item); }); });
}

bool WindowMenus::HasShortcut(const QKeyEvent& key) const
{
    return ShowsShortcut(widget.get(), QKeySequence(key.keyCombination()));
}

} // namespace framework
