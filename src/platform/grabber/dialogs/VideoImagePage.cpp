// SPDX-License-Identifier: MIT
#include "platform/grabber/dialogs/VideoPages.h"

#include <QCheckBox>
#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QSignalBlocker>
#include <QSlider>
#include <QSpinBox>
#include <QVBoxLayout>

#include <algorithm>
#include <limits>

namespace platform {
namespace {

// A name of the device's own may hold the sign that marks a letter.
QString WithoutShortcut(const std::string& name)
{
    return ToText(name).replace('&', "&&");
}

/// The widget of one image control: it shows a value and tells of the user's own.
class ControlRow {
public:
    virtual ~ControlRow() = default;
    virtual QWidget* Widget() = 0;
    virtual void Show(const ImageControl& control) = 0;
};

using TakeValue = std::function<void(int64_t)>;

constexpr int kNumberWidth = 80; // pixels: the sliders of all rows get one length

int Held(int64_t value)
{
    return static_cast<int>(
        std::clamp<int64_t>(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

// A slider to drag and a number to type. Both count in the control's own units.
class IntegerRow : public ControlRow {
public:
    IntegerRow(const ImageControl& control, const TakeValue& take)
    {
        const int minimum = Held(control.minimum);
        const int maximum = Held(control.maximum);
        const int step = Held(control.step);
        slider->setRange(minimum, maximum);
        slider->setSingleStep(step);
        slider->setPageStep(std::max(step, (maximum / 10) - (minimum / 10)));
        number->setRange(minimum, maximum);
        number->setSingleStep(step);
        number->setKeyboardTracking(false);
        number->setMinimumWidth(kNumberWidth);
        slider->setAccessibleName(ToText(control.name));
        number->setAccessibleName(ToText(control.name));
        auto* row = new QHBoxLayout(both);
        row->setContentsMargins(0, 0, 0, 0);
        row->addWidget(slider, 1);
        row->addWidget(number);
        both->setFocusProxy(slider);
        QObject::connect(slider, &QSlider::valueChanged, both, [=](int value) { take(value); });
        QObject::connect(number, &QSpinBox::valueChanged, both, [=](int value) { take(value); });
    }

    QWidget* Widget() override { return both; }
    void Show(const ImageControl& control) override
    {
        const QSignalBlocker quietSlider(slider);
        const QSignalBlocker quietNumber(number);
        if (!slider->isSliderDown())
            slider->setValue(Held(control.value));
        if (!number->hasFocus())
            number->setValue(Held(control.value));
    }

private:
    QWidget* both = new QWidget;
    QSlider* slider = new QSlider(Qt::Horizontal);
    QSpinBox* number = new QSpinBox;
};

class BooleanRow : public ControlRow {
public:
    explicit BooleanRow(const TakeValue& take)
    {
        QObject::connect(box, &QCheckBox::clicked, box, [=](bool checked) { take(checked ? 1 : 0); });
    }

    QWidget* Widget() override { return box; }
    void Show(const ImageControl& control) override { box->setChecked(control.value != 0); }

private:
    QCheckBox* box = new QCheckBox;
};

class MenuRow : public ControlRow {
public:
    explicit MenuRow(const TakeValue& take)
    {
        QObject::connect(popup, &QComboBox::activated, popup, [=, this] { take(popup->currentData().toInt()); });
    }

    QWidget* Widget() override { return popup; }
    void Show(const ImageControl& control) override
    {
        std::vector<Choice> choices;
        for (const auto& [value, name] : control.choices)
            choices.push_back({ToText(name), Held(value)});
        ShowChoices(*popup, choices, Held(control.value));
    }

private:
    QComboBox* popup = new QComboBox;
};

class ButtonRow : public ControlRow {
public:
    ButtonRow(const ImageControl& control, const TakeValue& take)
        : button(new QPushButton(WithoutShortcut(control.name)))
    {
        button->setAutoDefault(false);
        QObject::connect(button, &QPushButton::clicked, button, [=] { take(1); });
    }

    QWidget* Widget() override { return button; }
    void Show(const ImageControl&) override {}

private:
    QPushButton* button;
};

std::unique_ptr<ControlRow> MakeRow(const ImageControl& control, const TakeValue& take)
{
    switch (control.kind) {
    case ImageControl::Kind::Integer:
        return std::make_unique<IntegerRow>(control, take);
    case ImageControl::Kind::Boolean:
        return std::make_unique<BooleanRow>(take);
    case ImageControl::Kind::Menu:
        return std::make_unique<MenuRow>(take);
    case ImageControl::Kind::Button:
        break;
    }
    return std::make_unique<ButtonRow>(control, take);
}

QString Remark(const ImageControl& control)
{
    return control.readOnly   ? QString("The device only tells this value.")
           : control.inactive ? QString("Another control, or the device itself, has a hold of this one.")
                              : QString();
}

// Whether rows made for one list of controls can show the other.
bool HaveSameRows(const std::vector<ImageControl>& one, const std::vector<ImageControl>& other)
{
    const auto shape = [](const ImageControl& control) {
        return std::tuple(control.identity, control.kind, control.name, control.minimum, control.maximum, control.step);
    };
    return std::ranges::equal(one, other, {}, shape, shape);
}

class VideoImagePage : public SettingsPage {
public:
    explicit VideoImagePage(VideoChannel& tried) : channel(tried)
    {
        auto* column = new QVBoxLayout(this);
        area->setWidgetResizable(true);
        area->setFrameShape(QFrame::NoFrame);
        area->viewport()->setAutoFillBackground(false);
        defaults->setAutoDefault(false);
        column->addWidget(area, 1);
        column->addWidget(defaults, 0, Qt::AlignLeft);
        connect(defaults, &QPushButton::clicked, this, [this] { TakeDefaults(); });
    }

    void ShowSettings() override
    {
        auto present = channel.TheDigitizer().Controls();
        if (area->widget() == nullptr || !HaveSameRows(present, shown))
            MakeRows(present);
        for (size_t i = 0; i < present.size(); ++i) {
            rows[i]->Show(present[i]);
            rows[i]->Widget()->setEnabled(!present[i].readOnly && !present[i].inactive);
            rows[i]->Widget()->setToolTip(Remark(present[i]));
        }
        defaults->setEnabled(!present.empty());
        shown = std::move(present);
    }

    void ShowArrived(std::span<const Sample>) override { ShowSettingsNowAndThen(); }

private:
    void MakeRows(const std::vector<ImageControl>& controls)
    {
        rows.clear();
        auto* content = new QWidget;
        auto* form = new QFormLayout(content);
        for (const ImageControl& control : controls) {
            const uint32_t identity = control.identity;
            const QString name = ToText(control.name);
            rows.push_back(MakeRow(control, [=, this](int64_t value) {
                Changed(name, channel.TheDigitizer().SetControl(identity, value));
            }));
            QWidget* widget = rows.back()->Widget();
            widget->setAccessibleName(name);
            RefuseFocusByWheel(*widget);
            const bool namesItself = control.kind == ImageControl::Kind::Button;
            form->addRow(namesItself ? QString() : WithoutShortcut(control.name) + ':', widget);
        }
        if (controls.empty())
            form->addRow(new QLabel("This device has no image controls."));
        area->setWidget(content);
        content->setAutoFillBackground(false);
    }

    // Switches come first in the devices' own order, and what a switch held back before is set in the second round.
    void TakeDefaults()
    {
        Result result = noErr;
        for (int round = 0; round < 2; ++round) {
            result = noErr;
            for (const ImageControl& control : channel.TheDigitizer().Controls())
                if (control.kind != ImageControl::Kind::Button && !control.readOnly && !control.inactive &&
                    control.value != control.deviceDefault)
                    if (const Result set = channel.TheDigitizer().SetControl(control.identity, control.deviceDefault);
                        set != noErr)
                        result = set;
        }
        Changed("Defaults", result);
    }

    VideoChannel& channel;
    std::vector<ImageControl> shown;
    std::vector<std::unique_ptr<ControlRow>> rows;
    QScrollArea* area = new QScrollArea;
    QPushButton* defaults = new QPushButton("De&faults");
};

} // namespace

SettingsPage* MakeVideoImagePage(VideoChannel& channel)
{
    return new VideoImagePage(channel);
}

} // namespace platform
