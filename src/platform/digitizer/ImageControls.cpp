// SPDX-License-Identifier: MIT
#include "platform/digitizer/ImageControls.h"

#include <algorithm>
#include <cmath>

namespace platform {
namespace {

constexpr int64_t kAnalogScale = 65535;
constexpr uint16_t kAnalogMiddle = kAnalogScale / 2;

bool HasRange(const ImageControl& control)
{
    return control.kind == ImageControl::Kind::Integer;
}

FourCharCode FeatureOf(AnalogControl analog)
{
    switch (analog) {
    case AnalogControl::Brightness:
        return CodeOf("brit");
    case AnalogControl::Hue:
        return CodeOf("hue ");
    case AnalogControl::Contrast:
        return kContrastFeature;
    case AnalogControl::Saturation:
        return CodeOf("satu");
    case AnalogControl::Sharpness:
        return CodeOf("shrp");
    case AnalogControl::WhiteLevel:
        break;
    }
    return CodeOf("gmma");
}

// In double precision, since the range of a 64-bit control may exceed 64 signed bits.
double RangeOf(const ImageControl& control)
{
    return static_cast<double>(control.maximum) - static_cast<double>(control.minimum);
}

// A range with an even number of values has no middle; devices mean the value above it, such as 128 of 0 to 255. In a
// coarse range that value is too far from the middle.
bool IsMiddle(const ImageControl& control, double offset)
{
    const double above = 2 * offset - RangeOf(control);
    return above >= 0 && above <= static_cast<double>(control.step) && above * 100 <= RangeOf(control);
}

} // namespace

const ImageControl* FindFeature(const std::vector<ImageControl>& controls, FourCharCode feature)
{
    for (size_t place = 0; feature != 0 && place < 2; ++place)
        for (const ImageControl& control : controls)
            if (control.features[place] == feature && HasRange(control))
                return &control;
    return nullptr;
}

const ImageControl* FindAnalog(const std::vector<ImageControl>& controls, AnalogControl analog)
{
    const ImageControl* found = FindFeature(controls, FeatureOf(analog));
    if (found == nullptr && analog == AnalogControl::WhiteLevel)
        found = FindFeature(controls, CodeOf("gain"));
    return found != nullptr && found->maximum > found->minimum ? found : nullptr;
}

uint16_t AnalogValueOf(const ImageControl& control)
{
    const double range = RangeOf(control);
    const double offset = static_cast<double>(std::clamp(control.value, control.minimum, control.maximum)) -
                          static_cast<double>(control.minimum);
    if (range <= 0)
        return 0;
    return IsMiddle(control, offset) ? kAnalogMiddle : static_cast<uint16_t>(offset * kAnalogScale / range + 0.5);
}

int64_t ValueOfAnalog(const ImageControl& control, uint16_t value)
{
    const double fraction = value == kAnalogMiddle ? 0.5 : static_cast<double>(value) / kAnalogScale;
    const double wanted = static_cast<double>(control.minimum) + fraction * RangeOf(control);
    return HeldInRange(control, wanted >= 9.2e18 ? control.maximum : static_cast<int64_t>(std::floor(wanted + 0.5)));
}

int64_t HeldInRange(const ImageControl& control, int64_t value)
{
    const int64_t held = std::clamp(value, control.minimum, std::max(control.minimum, control.maximum));
    const auto step = static_cast<uint64_t>(std::max<int64_t>(control.step, 1));
    const auto offset = static_cast<uint64_t>(held) - static_cast<uint64_t>(control.minimum);
    const auto range = static_cast<uint64_t>(control.maximum) - static_cast<uint64_t>(control.minimum);
    const uint64_t stepped = std::min((offset / step + (offset % step >= (step + 1) / 2 ? 1 : 0)), range / step) * step;
    return static_cast<int64_t>(static_cast<uint64_t>(control.minimum) + stepped);
}

Result WriteInOrder(const std::vector<ImageControl>& controls, const ControlValues& values,
                    const std::function<Result(uint32_t, int64_t)>& write)
{
    const auto isSwitch = [&](const auto& value) {
        return std::ranges::find(controls, value.first, &ImageControl::automaticSwitch) != controls.end();
    };
    ControlValues ordered = values;
    std::ranges::stable_partition(ordered, isSwitch);
    ControlValues refused;
    for (const auto& [identity, value] : ordered)
        if (write(identity, value) != noErr)
            refused.emplace_back(identity, value);
    Result result = noErr;
    for (const auto& [identity, value] : refused)
        if (const Result again = write(identity, value); again != noErr)
            result = again;
    return result;
}

} // namespace platform
