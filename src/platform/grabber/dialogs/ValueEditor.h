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

/// One value of a device in three widgets side by side: a slider, a number field, and a button that restores the
/// default. What the user sets is passed on at once; `Show` shows the device's value.
class ValueEditor : public QObject {
public:
    /// `control` has name, range, step, unit and default. The widgets and the editor are children of `parent`.
    ValueEditor(const ImageControl& control, std::function<void(int64_t)> take, QWidget* parent);

    /// Shows a value, unless the user is changing it. The remark says why the control is not usable.
    void Show(int64_t value, bool usable, const QString& remark = {});

    /// The three widgets in a row.
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
    std::optional<int64_t> stepped; ///< the value to which an arrow key moved the slider
};

} // namespace platform
