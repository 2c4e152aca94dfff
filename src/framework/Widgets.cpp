// SPDX-License-Identifier: MIT
// Controls over Qt's widgets, which hold their state.
//
// Changes by the user arrive through signals: those that only users raise, or all signals, blocked while code assigns a
// value. An assignment calls the handler directly, so that an exception of the handler reaches the assigning code.
//
// Rectangles are fixed, but the user's interface font may be wide: a text that does not fit its control is drawn with
// narrower letters.
#include "framework/Widgets.h"

#include "framework/Exceptions.h"
#include "framework/Guard.h"
#include "framework/QtText.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFontMetrics>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSlider>
#include <QStyle>
#include <QStyleOptionSlider>
#include <QStylePainter>

#include <algorithm>
#include <utility>

namespace framework {
namespace {

constexpr int kNarrowest = 70; // stretch in percent that is still easy to read
constexpr int kButtonMargin = 8;

// The widget of a control. Raises `NilObjectException` for a control that is in no window.
template <typename T> T& WidgetOf(const RectControl& control)
{
    if (control.Widget() == nullptr)
        throw NilObjectException();
    return *static_cast<T*>(control.Widget());
}

template <typename T> String TextOf(const RectControl& control)
{
    return FromQt(WidgetOf<T>(control).text());
}

void ApplyFont(const RectControl& control, const ControlFont& font)
{
    WidgetOf<QWidget>(control).setFont(InterfaceFont(font));
}

// Narrows the font until the text fits the control's width less `margin` pixels.
template <typename T> void FitText(const RectControl& control, int margin)
{
    if (control.Widget() == nullptr)
        return;
    auto& widget = WidgetOf<T>(control);
    QFont font = widget.font();
    font.setStretch(QFont::Unstretched);
    const QString text = widget.text().remove('&');
    const int room = control.Width() - margin;
    for (int stretch = QFont::Unstretched; stretch >= kNarrowest; stretch -= 3) {
        font.setStretch(stretch);
        if (QFontMetrics(font).horizontalAdvance(text) <= room)
            break;
    }
    widget.setFont(font);
}

// A slider that shows only an empty groove, without a thumb, while it is disabled.
class SliderWidget : public QSlider {
public:
    using QSlider::QSlider;

protected:
    void paintEvent(QPaintEvent* event) override
    {
        if (isEnabled())
            return QSlider::paintEvent(event);
        QStyleOptionSlider option;
        initStyleOption(&option);
        option.subControls = QStyle::SC_SliderGroove;
        option.sliderPosition = option.minimum;
        QStylePainter(this).drawComplexControl(QStyle::CC_Slider, option);
    }
};

int IndicatorWidth(const QWidget& box)
{
    return box.style()->pixelMetric(QStyle::PM_IndicatorWidth, nullptr, &box) +
           box.style()->pixelMetric(QStyle::PM_CheckBoxLabelSpacing, nullptr, &box);
}

} // namespace

QWidget* PushButton::MakeWidget(QWidget* parent)
{
    auto* button = new QPushButton(parent);
    QObject::connect(button, &QPushButton::clicked, button, [this] { Guard([this] { Raise(Action); }); });
    return button;
}

String PushButton::Caption() const
{
    return TextOf<QPushButton>(*this);
}

void PushButton::Caption(const String& value)
{
    WidgetOf<QPushButton>(*this).setText(ToQt(value));
    FitText<QPushButton>(*this, kButtonMargin);
}

void PushButton::Font(const ControlFont& font)
{
    ApplyFont(*this, font);
    FitText<QPushButton>(*this, kButtonMargin);
}

void PushButton::Event_Resized()
{
    FitText<QPushButton>(*this, kButtonMargin);
}

void PushButton::Push()
{
    if (Enabled())
        Raise(Action);
}

QWidget* CheckBox::MakeWidget(QWidget* parent)
{
    auto* box = new QCheckBox(parent);
    QObject::connect(box, &QCheckBox::clicked, box, [this] { Guard([this] { Raise(Action); }); });
    return box;
}

String CheckBox::Caption() const
{
    return TextOf<QCheckBox>(*this);
}

void CheckBox::Caption(const String& value)
{
    WidgetOf<QCheckBox>(*this).setText(ToQt(value));
    Event_Resized();
}

bool CheckBox::Value() const
{
    return WidgetOf<QCheckBox>(*this).isChecked();
}

void CheckBox::Value(bool value)
{
    if (value == Value())
        return;
    WidgetOf<QCheckBox>(*this).setChecked(value);
    Raise(Action);
}

void CheckBox::Font(const ControlFont& font)
{
    ApplyFont(*this, font);
    Event_Resized();
}

void CheckBox::Event_Resized()
{
    if (Widget() != nullptr)
        FitText<QCheckBox>(*this, IndicatorWidth(*Widget()));
}

QWidget* PopupMenu::MakeWidget(QWidget* parent)
{
    auto* box = new QComboBox(parent);
    // This signal is also raised when the user chooses the present row again.
    QObject::connect(box, &QComboBox::activated, box, [this](int row) {
        if (std::exchange(chosen, row) != row)
            Guard([this] { Raise(Change); });
    });
    return box;
}

void PopupMenu::AddRow(const String& text)
{
    auto& box = WidgetOf<QComboBox>(*this);
    box.addItem(ToQt(text));
    // The widget selects its first row by itself; restore the selection.
    box.setCurrentIndex(chosen);
}

String PopupMenu::List(int32_t index) const
{
    return FromQt(WidgetOf<QComboBox>(*this).itemText(index));
}

int32_t PopupMenu::ListCount() const
{
    return WidgetOf<QComboBox>(*this).count();
}

int32_t PopupMenu::ListIndex() const
{
    return WidgetOf<QComboBox>(*this).currentIndex();
}

void PopupMenu::ListIndex(int32_t value)
{
    const int32_t row = value < ListCount() ? std::max(value, -1) : -1;
    WidgetOf<QComboBox>(*this).setCurrentIndex(row);
    if (std::exchange(chosen, row) != row)
        Raise(Change);
}

void PopupMenu::Font(const ControlFont& font)
{
    ApplyFont(*this, font);
}

QWidget* EditField::MakeWidget(QWidget* parent)
{
    auto* field = new QLineEdit(parent);
    QPalette colors = field->palette();
    for (const auto group : {QPalette::Active, QPalette::Inactive}) {
        colors.setColor(group, QPalette::Base, Qt::white);
        colors.setColor(group, QPalette::Text, Qt::black);
    }
    field->setPalette(colors);
    return field;
}

String EditField::Text() const
{
    return TextOf<QLineEdit>(*this);
}

void EditField::Text(const String& value)
{
    WidgetOf<QLineEdit>(*this).setText(ToQt(value));
}

void EditField::Font(const ControlFont& font)
{
    ApplyFont(*this, font);
}

QWidget* StaticText::MakeWidget(QWidget* parent)
{
    auto* label = new QLabel(parent);
    label->setTextFormat(Qt::PlainText);
    return label;
}

String StaticText::Text() const
{
    return TextOf<QLabel>(*this);
}

void StaticText::Text(const String& value)
{
    WidgetOf<QLabel>(*this).setText(ToQt(value));
    FitText<QLabel>(*this, 0);
}

void StaticText::Font(const ControlFont& font)
{
    ApplyFont(*this, font);
    FitText<QLabel>(*this, 0);
}

void StaticText::Event_Resized()
{
    FitText<QLabel>(*this, 0);
}

void StaticText::Alignment(TextAlignment value)
{
    const Qt::Alignment side = value == TextAlignment::Left    ? Qt::AlignLeft
                               : value == TextAlignment::Right ? Qt::AlignRight
                                                               : Qt::AlignHCenter;
    WidgetOf<QLabel>(*this).setAlignment(side | Qt::AlignVCenter);
}

// The accessible name of a popup menu is the row that it shows, so screen readers also look for its label.
void StaticText::Labels(RectControl& control)
{
    WidgetOf<QLabel>(*this).setBuddy(control.Widget());
    const String text = Text();
    const bool hasColon = !text.IsEmpty() && text.Bytes().back() == ':';
    control.AccessibleName(hasColon ? LeftB(text, static_cast<int32_t>(text.Bytes().size()) - 1) : text);
}

QWidget* ProgressBar::MakeWidget(QWidget* parent)
{
    auto* bar = new QProgressBar(parent);
    bar->setTextVisible(false);
    bar->setRange(0, 100);
    bar->setValue(0);
    return bar;
}

int32_t ProgressBar::Value() const
{
    return WidgetOf<QProgressBar>(*this).value();
}

void ProgressBar::Value(int32_t value)
{
    WidgetOf<QProgressBar>(*this).setValue(std::clamp(value, 0, Maximum()));
}

int32_t ProgressBar::Maximum() const
{
    return WidgetOf<QProgressBar>(*this).maximum();
}

void ProgressBar::Maximum(int32_t value)
{
    // A bar without a range would show a busy indicator.
    const int32_t maximum = std::max(value, 1);
    const int32_t shown = std::min(Value(), maximum);
    WidgetOf<QProgressBar>(*this).setMaximum(maximum);
    Value(shown);
}

QWidget* Slider::MakeWidget(QWidget* parent)
{
    auto* slider = new SliderWidget(Qt::Horizontal, parent);
    QObject::connect(slider, &QSlider::valueChanged, slider, [this] { Guard([this] { Raise(ValueChanged); }); });
    return slider;
}

void Slider::Event_Resized()
{
    if (Widget() != nullptr)
        WidgetOf<QSlider>(*this).setOrientation(Width() >= Height() ? Qt::Horizontal : Qt::Vertical);
}

template <typename Assignment> void Slider::Assign(const Assignment& assignment)
{
    auto& slider = WidgetOf<QSlider>(*this);
    const int32_t before = slider.value();
    {
        const QSignalBlocker blocker(slider);
        assignment(slider);
    }
    if (slider.value() != before)
        Raise(ValueChanged);
}

int32_t Slider::Minimum() const
{
    return WidgetOf<QSlider>(*this).minimum();
}

void Slider::Minimum(int32_t value)
{
    Assign([=](QSlider& slider) { slider.setMinimum(value); });
}

int32_t Slider::Maximum() const
{
    return WidgetOf<QSlider>(*this).maximum();
}

void Slider::Maximum(int32_t value)
{
    Assign([=](QSlider& slider) { slider.setMaximum(value); });
}

int32_t Slider::Value() const
{
    return WidgetOf<QSlider>(*this).value();
}

void Slider::Value(int32_t value)
{
    Assign([=](QSlider& slider) { slider.setValue(value); });
}

void Slider::LineStep(int32_t value)
{
    WidgetOf<QSlider>(*this).setSingleStep(value);
}

void Slider::PageStep(int32_t value)
{
    WidgetOf<QSlider>(*this).setPageStep(value);
}

void Slider::LiveScroll(bool value)
{
    WidgetOf<QSlider>(*this).setTracking(value);
}

} // namespace framework
