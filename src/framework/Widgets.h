// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Control.h"

#include <functional>
#include <vector>

namespace framework {

class PushButton : public RectControl {
public:
    String Caption() const;
    void Caption(const String& value);
    void Font(const ControlFont& font);
    std::function<void()> Action; ///< pressed by the user, or `Push`
    void Push();

protected:
    QWidget* MakeWidget(QWidget* parent) override;
    void Event_Resized() override;
};

class CheckBox : public RectControl {
public:
    String Caption() const;
    void Caption(const String& value);
    bool Value() const;
    void Value(bool value);
    void Font(const ControlFont& font);
    std::function<void()> Action; ///< the value changed, by the user or by assignment

protected:
    QWidget* MakeWidget(QWidget* parent) override;
    void Event_Resized() override;
};

class PopupMenu : public RectControl {
public:
    void AddRow(const String& text);
    String List(int32_t index) const;
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

class EditField : public RectControl {
public:
    String Text() const;
    void Text(const String& value);
    void Font(const ControlFont& font);

protected:
    QWidget* MakeWidget(QWidget* parent) override;
};

enum class TextAlignment { Left, Center, Right };

class StaticText : public RectControl {
public:
    String Text() const;
    void Text(const String& value);
    void Font(const ControlFont& font);
    void Alignment(TextAlignment value);

    /// Makes this text the name of a control beside it, for screen readers; a colon at its end is not part of it.
    void Labels(RectControl& control);

protected:
    QWidget* MakeWidget(QWidget* parent) override;
    void Event_Resized() override;
};

class ProgressBar : public RectControl {
public:
    int32_t Value() const;
    void Value(int32_t value); ///< held between 0 and the maximum
    int32_t Maximum() const;
    void Maximum(int32_t value);

protected:
    QWidget* MakeWidget(QWidget* parent) override;
};

class Slider : public RectControl {
public:
    int32_t Minimum() const;
    void Minimum(int32_t value);
    int32_t Maximum() const;
    void Maximum(int32_t value);
    int32_t Value() const;
    void Value(int32_t value); ///< held between minimum and maximum
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
