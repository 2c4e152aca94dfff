#include "platform/grabber/dialogs/SettingsPage.h"

#include <QComboBox>
#include <QLabel>

namespace platform {

QFormLayout* SettingsPage::Form()
{
    if (layout() == nullptr) {
        auto* form = new QFormLayout(this);
        form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    }
    return static_cast<QFormLayout*>(layout());
}

void SettingsPage::AddRow(const QString& label, QWidget* widget)
{
    QString name = label;
    widget->setAccessibleName(name.remove('&').remove(':'));
    Form()->addRow(label, widget);
}

QString ToText(const std::string& utf8)
{
    return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
}

void ShowChoices(QComboBox& popup, const std::vector<Choice>& choices, int chosen)
{
    bool same = popup.count() == static_cast<int>(choices.size());
    for (int i = 0; same && i < popup.count(); ++i) {
        const Choice& choice = choices[static_cast<size_t>(i)];
        same = popup.itemText(i) == choice.text && popup.itemData(i).toInt() == choice.value;
    }
    if (!same) {
        popup.clear();
        for (const Choice& choice : choices)
            popup.addItem(choice.text, choice.value);
    }
    popup.setCurrentIndex(popup.findData(chosen));
}

} // namespace platform
