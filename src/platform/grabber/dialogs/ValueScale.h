// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/ImageControls.h"

#include <QString>

namespace platform {

/// How the values of a control are shown and slid: the device's units on one side, a number with a unit for people and
/// the positions of a slider on the other.
///
/// A slider counts in the device's own units where it can. A range over several powers of ten, such as an exposure
/// time, is slid logarithmically, so that its short end can be set as finely as its long one.
class ValueScale {
public:
    /// Of an integer control.
    explicit ValueScale(const ImageControl& control);

    const ImageControl& Range() const { return range; }
    bool IsLogarithmic() const { return lowest > 0; }

    int FirstPosition() const;
    int LastPosition() const;
    int PositionOf(int64_t value) const;
    int64_t ValueAt(int position) const;

    // For people.
    double Shown(int64_t value) const { return static_cast<double>(value) * factor; }
    int64_t ValueOf(double shown) const;
    int Decimals() const { return decimals; }
    const QString& Suffix() const { return suffix; } ///< with the space before it
    QString Text(int64_t value) const;

private:
    void ReadUnit(const QString& unit);
    bool CountsInUnits() const;

    ImageControl range;
    double lowest = 0; ///< where the logarithm begins; 0: the slider is linear
    double factor = 1;
    int decimals = 0;
    QString suffix;
};

} // namespace platform
