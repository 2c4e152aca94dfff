// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/ImageControls.h"

#include <functional>
#include <memory>
#include <vector>

class QGridLayout;
class QWidget;

namespace platform {

/// The widgets of one image control in a grid of rows. They show what the device has, and pass on what the user sets.
class ControlRow {
public:
    virtual ~ControlRow() = default;

    /// Shows the control's value, and whether the user may change it.
    virtual void Show(const ImageControl& control, bool usable) = 0;

    /// Takes places in the grid's row, or in the row above where the control belongs to that one.
    virtual void Place(QGridLayout& grid, int row) = 0;
};

using TakeValue = std::function<void(int64_t)>;

/// The widgets for a control. A switch that keeps another control automatic stands beside that one where it is a
/// Boolean.
std::unique_ptr<ControlRow> MakeControlRow(const ImageControl& control, bool isSwitch, const TakeValue& take,
                                           QWidget* parent);

/// Whether an automatic switch in the list keeps the control from the user's hand.
bool IsAutomatic(const ImageControl& control, const std::vector<ImageControl>& controls);

/// A place in a list of controls, and the row of the page on which it stands.
struct ControlPlace {
    size_t index;
    int row;
    bool isSwitch;
};

/// The order of the controls on a page: the device's own, but what an automatic switch holds follows it. A Boolean
/// switch shares the row of the first control that it holds.
std::vector<ControlPlace> PlacesOf(const std::vector<ImageControl>& controls);

} // namespace platform
