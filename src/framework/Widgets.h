// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Control.h"
#include "framework/ControlFont.h"

#include <functional>
#include <vector>

namespace framework {

/// A push button.
class PushButton : public RectControl {
public:
    String Caption() const;             ///< the text on the button
    void Caption(const String& value);  ///< sets the text
    void Font(const ControlFont& font); ///< sets the font
    std::function<void()> Action;       ///< the button was pressed, by the user or by `Push`
    /// Presses the button, as a click does; does nothing while it is disabled.
    void Push();

protected:
    QWidget* MakeWidget(QWidget* parent) override;
    void Event_Resized() override;
};

/// A check box with a caption.
class CheckBox : public RectControl {
public:
    String Caption() const;             ///< the text beside the box
    void Caption(const String& value);  ///< sets the text
    bool Value() const;                 ///< whether the box is checked
    void Value(bool value);             ///< checks or unchecks it; a change calls `Action`
    void Font(const ControlFont& font); ///< sets the font
    std::function<void()> Action;       ///< the value changed, by the user or by assignment

protected:
    QWidget* MakeWidget(QWidget* parent) override;
    void Event_Resized() override;
};

/// A popup menu with one selected row.
class PopupMenu : public RectControl {
public:
    void AddRow(const String& text);    ///< adds a row at the end
    String List(int32_t index) const;   ///< the text of a row, by its index from 0
    int32_t ListCount() const;          ///< number of rows
    int32_t ListIndex() const;          ///< index of the selected row, from 0; -1 for none
    void ListIndex(int32_t value);      ///< selects a row; a change calls `Change`
    void Font(const ControlFont& font); ///< sets the font
    std::function<void()> Change;       ///< the selection changed, by the user or by assignment

protected:
    QWidget* MakeWidget(QWidget* parent) override;

private:
    int32_t chosen = -1; // the row reported by the last `Change`
};

/// A line of text that the user can edit.
class EditField : public RectControl {
public:
    String Text() const;                ///< the text in the field
    void Text(const String& value);     ///< sets the text
    void Font(const ControlFont& font); ///< sets the font

protected:
    QWidget* MakeWidget(QWidget* parent) override;
};

/// The horizontal alignment of a text in its rectangle.
enum class TextAlignment { Left, Center, Right };

/// A text that only the program changes.
class StaticText : public RectControl {
public:
    String Text() const;                 ///< the text
    void Text(const String& value);      ///< sets the text
    void Font(const ControlFont& font);  ///< sets the font
    void Alignment(TextAlignment value); ///< initially left

    /// Makes this text, without a colon at its end, the name of a control for screen readers.
    void Labels(RectControl& control);

protected:
    QWidget* MakeWidget(QWidget* parent) override;
    void Event_Resized() override;
};

/// A bar that shows a value between 0 and a maximum.
class ProgressBar : public RectControl {
public:
    int32_t Value() const;       ///< the value
    void Value(int32_t value);   ///< sets the value, clamped to 0 to `Maximum`
    int32_t Maximum() const;     ///< the value of a full bar; initially 100
    void Maximum(int32_t value); ///< sets the maximum, 1 at least

protected:
    QWidget* MakeWidget(QWidget* parent) override;
};

/// A thumb that the user drags between a minimum and a maximum.
class Slider : public RectControl {
public:
    int32_t Minimum() const;      ///< lower end of the range
    void Minimum(int32_t value);  ///< sets the lower end; the value is clamped
    int32_t Maximum() const;      ///< upper end of the range
    void Maximum(int32_t value);  ///< sets the upper end; the value is clamped
    int32_t Value() const;        ///< the value
    void Value(int32_t value);    ///< sets the value, clamped to the range
    void LineStep(int32_t value); ///< sets the step of an arrow key
    void PageStep(int32_t value); ///< sets the step of a click beside the thumb
    void LiveScroll(bool value);  ///< whether `ValueChanged` is called while the thumb is dragged or at its release
    std::function<void()> ValueChanged; ///< the value changed, by the user or by assignment

protected:
    QWidget* MakeWidget(QWidget* parent) override;
    void Event_Resized() override;

private:
    template <typename Assignment> void Assign(const Assignment& assignment);
};

} // namespace framework
