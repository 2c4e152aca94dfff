// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/ImageControls.h"

#include <functional>
#include <memory>
#include <vector>

class QGridLayout;
class QWidget;

namespace platform {

/// The widgets of one image control in a grid of rows. They show the device's value and pass on what the user sets.
class ControlRow {
public:
    virtual ~ControlRow() = default;

    /// Shows the control's value, and whether the user can change it.
    virtual void Show(const ImageControl& control, bool usable) = 0;

    /// Takes cells in the grid's row, or in the row above if the control belongs to that one.
    virtual void Place(QGridLayout& grid, int row) = 0;
};

using TakeValue = std::function<void(int64_t)>;

/// Creates the widgets for a control. A Boolean switch for the automatic mode of another control is placed beside that
/// one.
std::unique_ptr<ControlRow> MakeControlRow(const ImageControl& control, bool isSwitch, const TakeValue& take,
                                           QWidget* parent);

/// Whether an automatic switch in the list keeps the user from setting the control.
bool IsAutomatic(const ImageControl& control, const std::vector<ImageControl>& controls);

/// The index of a control in a list, and its row on the page.
struct ControlPlace {
    size_t index;
    int row;
    bool isSwitch;
};

/// The order of the controls on a page: the device's own, but the controls of an automatic switch follow it. A Boolean
/// switch shares the row of the first of them.
std::vector<ControlPlace> PlacesOf(const std::vector<ImageControl>& controls);

} // namespace platform
