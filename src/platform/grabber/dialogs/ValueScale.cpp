// SPDX-License-Identifier: MIT
#include "platform/grabber/dialogs/ValueScale.h"

#include "platform/grabber/dialogs/Texts.h"

#include <QStringList>

#include <algorithm>
#include <cmath>
#include <limits>

namespace platform {
namespace {

constexpr int kPositions = 1000; // of a slider that doesn't use the device's units
constexpr double kLogarithmicRatio = 100;
constexpr int64_t kLogarithmicMaximum = 1000; // below that, every value has its own slider position

// A range that starts at 0 is logarithmic from its first step on, but only times are known to be meant that way.
double LowestOfLogarithm(const ImageControl& control)
{
    const bool isTime = control.unit.ends_with("s");
    const int64_t first = control.minimum > 0              ? control.minimum
                          : isTime && control.minimum == 0 ? std::max<int64_t>(control.step, 1)
                                                           : 0;
    const bool isWide = control.maximum >= kLogarithmicMaximum &&
                        static_cast<double>(control.maximum) >= kLogarithmicRatio * static_cast<double>(first);
    return isWide ? static_cast<double>(first) : 0;
}

} // namespace

ValueScale::ValueScale(const ImageControl& control) : range(control), lowest(LowestOfLogarithm(control))
{
    ReadUnit(QString::fromStdString(control.unit));
    // Values from 0 to 100 without a unit are percentages.
    if (control.unit.empty() && control.minimum == 0 && control.maximum == 100)
        suffix = " %";
}

// "K", "× 0.1 ms": a factor may precede the unit. Percentages are whole numbers, arc seconds are shown in degrees.
void ValueScale::ReadUnit(const QString& unit)
{
    const QStringList words = unit.split(' ', Qt::SkipEmptyParts);
    if (unit == "″") {
        factor = 1.0 / 3600;
        decimals = 2;
        suffix = "°";
    } else if (words.size() == 3 && words[0] == "×" && words[1].toDouble() > 0) {
        factor = words[1].toDouble();
        if (words[2] != "%" && words[1].contains('.'))
            decimals = static_cast<int>(words[1].size() - words[1].indexOf('.') - 1);
        suffix = ' ' + words[2];
    } else if (!words.isEmpty()) {
        suffix = ' ' + ToText(unit.toStdString());
    }
}

bool ValueScale::CountsInUnits() const
{
    using Limits = std::numeric_limits<int>;
    return !IsLogarithmic() && range.minimum >= Limits::min() / 2 && range.maximum <= Limits::max() / 2;
}

int ValueScale::FirstPosition() const
{
    return CountsInUnits() ? static_cast<int>(range.minimum) : 0;
}

int ValueScale::LastPosition() const
{
    return CountsInUnits() ? static_cast<int>(range.maximum) : kPositions;
}

int ValueScale::PositionOf(int64_t value) const
{
    const int64_t held = std::clamp(value, range.minimum, range.maximum);
    if (CountsInUnits())
        return static_cast<int>(held);
    const auto exact = static_cast<double>(held);
    const auto highest = static_cast<double>(range.maximum);
    if (IsLogarithmic())
        return exact < lowest
                   ? 0
                   : static_cast<int>(std::lround(kPositions * std::log(exact / lowest) / std::log(highest / lowest)));
    const double span = highest - static_cast<double>(range.minimum);
    return static_cast<int>(std::lround(kPositions * (exact - static_cast<double>(range.minimum)) / span));
}

int64_t ValueScale::ValueAt(int position) const
{
    if (CountsInUnits())
        return HeldInRange(range, position);
    if (position <= 0 || position >= kPositions)
        return position <= 0 ? range.minimum : range.maximum;
    const double fraction = static_cast<double>(position) / kPositions;
    const auto highest = static_cast<double>(range.maximum);
    const auto minimum = static_cast<double>(range.minimum);
    const double value =
        IsLogarithmic() ? lowest * std::pow(highest / lowest, fraction) : minimum + fraction * (highest - minimum);
    return HeldInRange(range, std::llround(value));
}

int64_t ValueScale::ValueOf(double shown) const
{
    const double value = shown / factor;
    constexpr double beyond = 9.2e18;
    if (!(std::abs(value) < beyond))
        return value > 0 ? range.maximum : range.minimum;
    return HeldInRange(range, std::llround(value));
}

QString ValueScale::Text(int64_t value) const
{
    return NumberText(Shown(value), decimals) + suffix;
}

} // namespace platform
