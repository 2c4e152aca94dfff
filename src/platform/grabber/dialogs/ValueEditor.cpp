// SPDX-License-Identifier: MIT
#include "platform/grabber/dialogs/ValueEditor.h"

#include "platform/grabber/dialogs/Texts.h"

#include <QDoubleSpinBox>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QSignalBlocker>
#include <QSlider>
#include <QStyle>
#include <QToolButton>

#include <algorithm>

namespace platform {
namespace {

// In average letters.
constexpr int kSliderLetters = 20; // minimum width
constexpr int kNumberLetters = 18; // maximum width, whatever the range

/// A number whose text is not changed while the user is editing it.
class NumberBox : public QDoubleSpinBox {
public:
    using QDoubleSpinBox::QDoubleSpinBox;
    bool IsBeingTyped() const { return hasFocus() && lineEdit()->isModified(); }
};

} // namespace

ValueEditor::ValueEditor(const ImageControl& control, std::function<void(int64_t)> taken, QWidget* parent)
    : QObject(parent),
      slider(new QSlider(Qt::Horizontal, parent)),
      number(new NumberBox(parent)),
      reset(new QToolButton(parent)),
      scale(control),
      take(std::move(taken))
{
    const QString name = ToText(control.name);
    SetUpSlider(name);
    SetUpNumber(name);
    SetUpReset(name);
}

void ValueEditor::SetUpSlider(const QString& name)
{
    slider->setAccessibleName(name);
    slider->setRange(scale.FirstPosition(), scale.LastPosition());
    const int length = slider->maximum() / 10 - slider->minimum() / 10;
    const bool countsInUnits =
        !scale.IsLogarithmic() && scale.PositionOf(scale.Range().maximum) == scale.Range().maximum;
    const int step = countsInUnits ? static_cast<int>(std::min<int64_t>(scale.Range().step, std::max(length, 1))) : 1;
    slider->setSingleStep(step);
    slider->setPageStep(std::max(step, length));
    slider->setMinimumWidth(kSliderLetters * slider->fontMetrics().averageCharWidth());
    slider->setFocusPolicy(Qt::StrongFocus);
    connect(slider, &QSlider::actionTriggered, this, [this](int action) { Step(action); });
    connect(slider, &QSlider::valueChanged, this, [this](int position) { Slide(position); });
}

void ValueEditor::SetUpNumber(const QString& name)
{
    const ImageControl& range = scale.Range();
    number->setAccessibleName(name + " value");
    number->setDecimals(scale.Decimals());
    number->setRange(scale.Shown(range.minimum), scale.Shown(range.maximum));
    number->setSingleStep(scale.Shown(range.step));
    if (scale.IsLogarithmic())
        number->setStepType(QAbstractSpinBox::AdaptiveDecimalStepType);
    number->setSuffix(scale.Suffix());
    number->setMaximumWidth(kNumberLetters * number->fontMetrics().averageCharWidth());
    number->setKeyboardTracking(false);
    number->setFocusPolicy(Qt::StrongFocus);
    const QString limits =
        QString("%1 to %2, normally %3")
            .arg(scale.Text(range.minimum), scale.Text(range.maximum), scale.Text(range.deviceDefault));
    Explain(*number, limits);
    connect(number, &QDoubleSpinBox::valueChanged, this, [this](double value) { Take(scale.ValueOf(value)); });
}

void ValueEditor::SetUpReset(const QString& name)
{
    reset->setIcon(reset->style()->standardIcon(QStyle::SP_BrowserReload));
    reset->setAutoRaise(true);
    reset->setAccessibleName("Reset " + name);
    Explain(*reset, "Back to " + scale.Text(scale.Range().deviceDefault));
    connect(reset, &QToolButton::clicked, this, [this] { Take(scale.Range().deviceDefault); });
}

// An arrow key moves by one of the device's steps if a position of the slider is less than that.
void ValueEditor::Step(int action)
{
    if (action != QAbstractSlider::SliderSingleStepAdd && action != QAbstractSlider::SliderSingleStepSub)
        return;
    if (scale.ValueAt(slider->sliderPosition()) != shown)
        return;
    const ImageControl& range = scale.Range();
    const bool up = action == QAbstractSlider::SliderSingleStepAdd;
    const bool reachesEnd = up ? shown > range.maximum - range.step : shown < range.minimum + range.step;
    const int64_t next = reachesEnd ? (up ? range.maximum : range.minimum) : shown + (up ? range.step : -range.step);
    const int position = scale.PositionOf(next);
    slider->setSliderPosition(position);
    if (position == slider->value())
        Take(next);
    else
        stepped = next;
}

void ValueEditor::Slide(int position)
{
    Take(stepped.value_or(scale.ValueAt(position)));
    stepped.reset();
}

void ValueEditor::Take(int64_t value)
{
    shown = value;
    take(value);
}

void ValueEditor::Show(int64_t value, bool usable, const QString& remark)
{
    shown = value;
    const QSignalBlocker quietSlider(slider);
    const QSignalBlocker quietNumber(number);
    if (!slider->isSliderDown())
        slider->setValue(scale.PositionOf(value));
    if (!static_cast<NumberBox*>(number)->IsBeingTyped())
        number->setValue(scale.Shown(value));
    Explain(*slider, remark.isEmpty() ? scale.Text(value) : scale.Text(value) + ". " + remark);
    slider->setEnabled(usable);
    number->setEnabled(usable);
    reset->setEnabled(usable && value != scale.Range().deviceDefault);
}

QWidget* ValueEditor::Row()
{
    auto* row = new QWidget;
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(slider, 1);
    layout->addWidget(number);
    layout->addWidget(reset);
    row->setFocusProxy(slider);
    return row;
}

} // namespace platform
