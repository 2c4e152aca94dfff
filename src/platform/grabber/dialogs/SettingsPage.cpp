// SPDX-License-Identifier: MIT
#include "platform/grabber/dialogs/SettingsPage.h"

#include <QAbstractItemView>
#include <QComboBox>
#include <QLabel>
#include <QStandardItemModel>

namespace platform {
namespace {

constexpr int kPopupLetters = 24;     // minimum width of a popup, whatever its choices
constexpr int kCallsBetweenShows = 8; // at thirty calls per second

QStandardItem& ItemOf(const QComboBox& popup, int index)
{
    return *static_cast<QStandardItemModel*>(popup.model())->item(index);
}

} // namespace

QFormLayout* SettingsPage::Form()
{
    if (layout() == nullptr) {
        auto* form = new QFormLayout(this);
        form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
        form->setRowWrapPolicy(QFormLayout::WrapLongRows);
    }
    return static_cast<QFormLayout*>(layout());
}

void SettingsPage::AddRow(const QString& label, QWidget* widget)
{
    // A text needs no accessible name.
    QString name = label;
    if (!widget->inherits("QLabel"))
        widget->setAccessibleName(name.remove('&').remove(':'));
    if (auto* popup = qobject_cast<QComboBox*>(widget))
        LimitWidth(*popup);
    RefuseFocusByWheel(*widget);
    Form()->addRow(label, widget);
    // The mnemonic gives the focus to the widget of its row.
    if (auto* text = qobject_cast<QLabel*>(Form()->labelForField(widget)); text && widget->focusProxy())
        text->setBuddy(widget->focusProxy());
}

void SettingsPage::KeepShowingSettings()
{
    callsToShow = (callsToShow + 1) % kCallsBetweenShows;
    if (callsToShow == 0 && isVisible())
        ShowSettings();
}

void RefuseFocusByWheel(QWidget& widget)
{
    if (widget.focusPolicy() == Qt::WheelFocus)
        widget.setFocusPolicy(Qt::StrongFocus);
    for (QObject* child : widget.children())
        if (child->isWidgetType())
            RefuseFocusByWheel(*static_cast<QWidget*>(child));
}

void LimitWidth(QComboBox& popup)
{
    popup.setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    popup.setMinimumContentsLength(kPopupLetters);
}

QLabel* NewNote()
{
    auto* note = new QLabel;
    note->setTextFormat(Qt::PlainText);
    note->setWordWrap(true);
    return note;
}

void ShowChoices(QComboBox& popup, const std::vector<Choice>& choices, int chosen)
{
    // Nothing changes while the user is choosing.
    if (popup.view()->isVisible())
        return;
    bool same = popup.count() == static_cast<int>(choices.size());
    for (int i = 0; same && i < popup.count(); ++i) {
        const Choice& choice = choices[static_cast<size_t>(i)];
        same = popup.itemText(i) == choice.text && popup.itemData(i).toInt() == choice.value &&
               ItemOf(popup, i).isEnabled() == choice.enabled;
    }
    if (!same) {
        popup.clear();
        for (const Choice& choice : choices) {
            popup.addItem(choice.text, choice.value);
            ItemOf(popup, popup.count() - 1).setEnabled(choice.enabled);
        }
    }
    popup.setCurrentIndex(popup.findData(chosen));
}

} // namespace platform
