// SPDX-License-Identifier: MIT
#pragma once

#include "platform/grabber/dialogs/ValueScale.h"

#include <QObject>

#include <functional>
#include <optional>

class QDoubleSpinBox;
class QSlider;
class QToolButton;
class QWidget;

namespace platform {

/// One value of a device in three widgets that stand side by side: a slider to drag, a number to type, and a button
/// that puts the default back. What the user sets is passed on at once; what the device has is shown by `Show`.
class ValueEditor : public QObject {
public:
    /// The control tells name, range, step, unit and default. Widgets are children of `parent`, as is the editor.
    ValueEditor(const ImageControl& control, std::function<void(int64_t)> take, QWidget* parent);

    /// A value under the user's hand stays as it is. The remark says why the control is not usable.
    void Show(int64_t value, bool usable, const QString& remark = {});

    /// The three in a row of their own.
    QWidget* Row();

    QSlider* const slider;
    QDoubleSpinBox* const number;
    QToolButton* const reset;

private:
    void SetUpSlider(const QString& name);
    void SetUpNumber(const QString& name);
    void SetUpReset(const QString& name);
    void Step(int action);
    void Slide(int position);
    void Take(int64_t value);

    const ValueScale scale;
    const std::function<void(int64_t)> take;
    int64_t shown = 0;
    std::optional<int64_t> stepped; ///< the value that a key on the slider led to
};

} // namespace platform
