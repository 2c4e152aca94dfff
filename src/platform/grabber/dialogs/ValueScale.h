// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/ImageControls.h"

#include <QString>

namespace platform {

/// Converts the values of a control between the device's units, a number with a unit for the user, and the positions of
/// a slider.
///
/// A slider uses the device's own units if it can. A range over several powers of ten, such as an exposure time, is
/// logarithmic, so that its low end can be set as finely as its high end.
class ValueScale {
public:
    /// `control` is an integer control.
    explicit ValueScale(const ImageControl& control);

    const ImageControl& Range() const { return range; } ///< the control, with its range and default
    bool IsLogarithmic() const { return lowest > 0; }   ///< whether equal steps of the slider are equal factors

    // Slider positions and values in the device's units. Values and positions out of range are clamped.
    /// The lowest position of the slider.
    int FirstPosition() const;
    /// The highest position of the slider.
    int LastPosition() const;
    int PositionOf(int64_t value) const; ///< the nearest one
    int64_t ValueAt(int position) const; ///< a value that the device's step allows

    // For the user: numbers in the unit of `Suffix`.
    /// A value in the unit that is displayed.
    double Shown(int64_t value) const { return static_cast<double>(value) * factor; }
    int64_t ValueOf(double shown) const;             ///< in the device's units, within the range
    int Decimals() const { return decimals; }        ///< number of decimals displayed
    const QString& Suffix() const { return suffix; } ///< the unit with the space before it, or empty
    QString Text(int64_t value) const;               ///< "16.6 ms"

private:
    void ReadUnit(const QString& unit);
    bool CountsInUnits() const;

    ImageControl range;
    double lowest = 0; ///< start of the logarithmic scale; 0: the slider is linear
    double factor = 1;
    int decimals = 0;
    QString suffix;
};

} // namespace platform
