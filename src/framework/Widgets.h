// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Control.h"

#include <functional>
#include <vector>

namespace framework {

/// A button that is pressed.
class PushButton : public RectControl {
public:
    /// The text on the button.
    String Caption() const;
    void Caption(const String& value);
    void Font(const ControlFont& font);
    std::function<void()> Action; ///< pressed by the user, or `Push`
    /// Presses the button, as a click does.
    void Push();

protected:
    QWidget* MakeWidget(QWidget* parent) override;
    void Event_Resized() override;
};

/// A box with a caption that is checked or not.
class CheckBox : public RectControl {
public:
    /// The text beside the box.
    String Caption() const;
    void Caption(const String& value);
    /// Whether the box is checked.
    bool Value() const;
    void Value(bool value);
    void Font(const ControlFont& font);
    std::function<void()> Action; ///< the value changed, by the user or by assignment

protected:
    QWidget* MakeWidget(QWidget* parent) override;
    void Event_Resized() override;
};

/// A button that shows a menu, of which one row is chosen.
class PopupMenu : public RectControl {
public:
    /// Adds a row at the end.
    void AddRow(const String& text);
    /// The text of a row, from 0.
    String List(int32_t index) const;
    /// How many rows there are.
    int32_t ListCount() const;
    int32_t ListIndex() const; ///< -1 for none
    void ListIndex(int32_t value);
    void Font(const ControlFont& font);
    std::function<void()> Change; ///< another row was chosen, by the user or by assignment

protected:
    QWidget* MakeWidget(QWidget* parent) override;

private:
    int32_t chosen = -1; // the row of which `Change` told last
};

/// A line of text that the user edits.
class EditField : public RectControl {
public:
    /// The text in the field.
    String Text() const;
    void Text(const String& value);
    void Font(const ControlFont& font);

protected:
    QWidget* MakeWidget(QWidget* parent) override;
};

/// Where a text stands in its rectangle.
enum class TextAlignment { Left, Center, Right };

/// A text that only the program changes.
class StaticText : public RectControl {
public:
    /// The text.
    String Text() const;
    void Text(const String& value);
    void Font(const ControlFont& font);
    /// Left, centre or right; left at first.
    void Alignment(TextAlignment value);

    /// Makes this text the name of a control beside it, for screen readers; a colon at its end is not part of it.
    void Labels(RectControl& control);

protected:
    QWidget* MakeWidget(QWidget* parent) override;
    void Event_Resized() override;
};

/// A bar that shows a value between 0 and a maximum.
class ProgressBar : public RectControl {
public:
    int32_t Value() const;
    void Value(int32_t value); ///< held between 0 and the maximum
    /// The value of a full bar.
    int32_t Maximum() const;
    void Maximum(int32_t value);

protected:
    QWidget* MakeWidget(QWidget* parent) override;
};

/// A thumb that the user drags between a minimum and a maximum.
class Slider : public RectControl {
public:
    /// The ends of the range.
    int32_t Minimum() const;
    void Minimum(int32_t value);
    int32_t Maximum() const;
    void Maximum(int32_t value);
    int32_t Value() const;
    void Value(int32_t value); ///< held between minimum and maximum
    /// How far an arrow key moves the thumb; `PageStep`: a click beside it.
    void LineStep(int32_t value);
    void PageStep(int32_t value);
    void LiveScroll(bool value);        ///< whether `ValueChanged` comes while the thumb is dragged or at its release
    std::function<void()> ValueChanged; ///< the value differs from before, by the user or by assignment

protected:
    QWidget* MakeWidget(QWidget* parent) override;
    void Event_Resized() override;

private:
    template <typename Assignment> void Assign(const Assignment& assignment);
};

} // namespace framework
