// SPDX-License-Identifier: MIT
#include "platform/grabber/dialogs/ControlRows.h"

#include "platform/grabber/dialogs/SettingsPage.h"
#include "platform/grabber/dialogs/ValueEditor.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QGridLayout>
#include <QLabel>
#include <QPushButton>
#include <QSlider>
#include <QToolButton>

#include <algorithm>
#include <limits>

namespace platform {
namespace {

enum Column { kLabel, kSlider, kNumber, kReset, kAutomatic };
constexpr int kLabelLetters = 30; // longer names are truncated

int Held(int64_t value)
{
    return static_cast<int>(
        std::clamp<int64_t>(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

QString Remark(const ImageControl& control, bool usable)
{
    return usable             ? QString()
           : control.readOnly ? QString("This value is read-only.")
                              : QString("The device, or another control, sets this value now.");
}

// A device's own name may contain the character that marks a mnemonic.
QString WithoutShortcut(const std::string& name)
{
    return ToText(name).replace('&', "&&");
}

// A name that is too long for the column is truncated, and complete in the tool tip.
void PlaceLabel(QGridLayout& grid, int row, const std::string& name, QWidget* widget)
{
    auto* label = new QLabel;
    const QString whole = ToText(name);
    const QString fitting =
        label->fontMetrics().elidedText(whole, Qt::ElideRight, kLabelLetters * label->fontMetrics().averageCharWidth());
    label->setTextFormat(Qt::PlainText);
    label->setText(QString(fitting).replace('&', "&&") + ':');
    label->setBuddy(widget);
    if (fitting != whole)
        Explain(*label, whole);
    grid.addWidget(label, row, kLabel);
}

class IntegerRow : public ControlRow {
public:
    IntegerRow(const ImageControl& control, const TakeValue& take, QWidget* parent)
        : name(control.name), editor(new ValueEditor(control, take, parent))
    {
    }

    void Show(const ImageControl& control, bool usable) override
    {
        editor->Show(control.value, usable, Remark(control, usable));
    }

    void Place(QGridLayout& grid, int row) override
    {
        PlaceLabel(grid, row, name, editor->slider);
        grid.addWidget(editor->slider, row, kSlider);
        grid.addWidget(editor->number, row, kNumber);
        grid.addWidget(editor->reset, row, kReset);
    }

private:
    const std::string name;
    ValueEditor* editor;
};

/// A row with a single widget.
class WidgetRow : public ControlRow {
public:
    WidgetRow(const ImageControl& control, QWidget* widget) : name(control.name), widget(widget)
    {
        widget->setAccessibleName(ToText(name));
    }

    void Place(QGridLayout& grid, int row) override
    {
        PlaceLabel(grid, row, name, widget);
        grid.addWidget(widget, row, kSlider, 1, kReset - kSlider + 1);
    }

protected:
    void ShowUsable(const ImageControl& control, bool usable)
    {
        widget->setEnabled(usable);
        Explain(*widget, Remark(control, usable));
    }

    const std::string name;

private:
    QWidget* widget;
};

class BooleanRow : public WidgetRow {
public:
    BooleanRow(const ImageControl& control, bool isSwitch, const TakeValue& take, QWidget* parent)
        : BooleanRow(control, isSwitch, take, new QCheckBox(parent))
    {
    }

    void Show(const ImageControl& control, bool usable) override
    {
        box->setChecked(control.value != 0);
        ShowUsable(control, usable);
    }

    void Place(QGridLayout& grid, int row) override
    {
        if (isSwitch)
            grid.addWidget(box, row, kAutomatic);
        else
            WidgetRow::Place(grid, row);
    }

private:
    BooleanRow(const ImageControl& control, bool isSwitch, const TakeValue& take, QCheckBox* box)
        : WidgetRow(control, box), isSwitch(isSwitch), box(box)
    {
        if (isSwitch)
            box->setText("Automatic");
        QObject::connect(box, &QCheckBox::clicked, box, [=](bool checked) { take(checked ? 1 : 0); });
    }

    const bool isSwitch;
    QCheckBox* box;
};

class MenuRow : public WidgetRow {
public:
    MenuRow(const ImageControl& control, const TakeValue& take, QWidget* parent)
        : MenuRow(control, take, new QComboBox(parent))
    {
    }

    void Show(const ImageControl& control, bool usable) override
    {
        std::vector<Choice> choices;
        for (const auto& [value, text] : control.choices)
            choices.push_back({ToText(text), Held(value)});
        ShowChoices(*popup, choices, Held(control.value));
        ShowUsable(control, usable);
    }

private:
    MenuRow(const ImageControl& control, const TakeValue& take, QComboBox* popup)
        : WidgetRow(control, popup), popup(popup)
    {
        popup->setFocusPolicy(Qt::StrongFocus);
        LimitWidth(*popup);
        QObject::connect(popup, &QComboBox::activated, popup, [=] { take(popup->currentData().toInt()); });
    }

    QComboBox* popup;
};

class ButtonRow : public WidgetRow {
public:
    ButtonRow(const ImageControl& control, const TakeValue& take, QWidget* parent)
        : ButtonRow(control, take, new QPushButton(WithoutShortcut(control.name), parent))
    {
    }

    void Show(const ImageControl& control, bool usable) override { ShowUsable(control, usable); }

    // Its text is its name.
    void Place(QGridLayout& grid, int row) override { grid.addWidget(button, row, kSlider, 1, kReset - kSlider + 1); }

private:
    ButtonRow(const ImageControl& control, const TakeValue& take, QPushButton* button)
        : WidgetRow(control, button), button(button)
    {
        button->setAutoDefault(false);
        QObject::connect(button, &QPushButton::clicked, button, [=] { take(1); });
    }

    QPushButton* button;
};

bool Holds(const ImageControl& automatic, const ImageControl& control)
{
    return control.automaticSwitch != 0 && control.automaticSwitch == automatic.identity &&
           control.identity != automatic.identity;
}

} // namespace

std::unique_ptr<ControlRow> MakeControlRow(const ImageControl& control, bool isSwitch, const TakeValue& take,
                                           QWidget* parent)
{
    switch (control.kind) {
    case ImageControl::Kind::Integer:
        return std::make_unique<IntegerRow>(control, take, parent);
    case ImageControl::Kind::Boolean:
        return std::make_unique<BooleanRow>(control, isSwitch, take, parent);
    case ImageControl::Kind::Menu:
        return std::make_unique<MenuRow>(control, take, parent);
    case ImageControl::Kind::Button:
        break;
    }
    return std::make_unique<ButtonRow>(control, take, parent);
}

bool IsAutomatic(const ImageControl& control, const std::vector<ImageControl>& controls)
{
    return std::ranges::any_of(
        controls, [&](const ImageControl& one) { return Holds(one, control) && one.value != control.manualValue; });
}

std::vector<ControlPlace> PlacesOf(const std::vector<ImageControl>& controls)
{
    std::vector<ControlPlace> places;
    std::vector<bool> placed(controls.size());
    int rows = 0;
    const auto place = [&](size_t index, int row, bool isSwitch) {
        placed[index] = true;
        places.push_back({index, row, isSwitch});
    };
    for (size_t i = 0; i < controls.size(); ++i) {
        const auto isHolder = [&](const ImageControl& one) { return Holds(one, controls[i]); };
        const auto holder = static_cast<size_t>(std::ranges::find_if(controls, isHolder) - controls.begin());
        const bool isHeld = holder < controls.size();
        const bool isSwitch = std::ranges::any_of(controls, [&](const auto& one) { return Holds(controls[i], one); });
        if (placed[i] || (isSwitch && !isHeld))
            continue;
        const bool bringsSwitch = isHeld && !placed[holder];
        const bool sharesRow = bringsSwitch && controls[holder].kind == ImageControl::Kind::Boolean;
        if (bringsSwitch && !sharesRow)
            place(holder, rows++, true);
        place(i, rows++, false);
        if (sharesRow)
            place(holder, rows - 1, true);
        for (size_t other = i + 1; isHeld && other < controls.size(); ++other)
            if (!placed[other] && Holds(controls[holder], controls[other]))
                place(other, rows++, false);
    }
    // A device may use the number of a switch twice.
    for (size_t i = 0; i < controls.size(); ++i)
        if (!placed[i])
            place(i, rows++, false);
    return places;
}

} // namespace platform
