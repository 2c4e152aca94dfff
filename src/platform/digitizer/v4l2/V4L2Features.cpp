#include "platform/digitizer/v4l2/V4L2Features.h"

#include <algorithm>
#include <array>
#include <limits>
#include <linux/v4l2-controls.h>

namespace platform {
namespace {

// The controls that mean a feature, the better one first, and the switch that takes them out of automatic mode.
struct FeatureMeaning {
    FourCharCode feature;
    std::array<uint32_t, 2> controls;
    uint32_t automaticSwitch = 0;
    int64_t manualValue = 0;
};

constexpr FeatureMeaning kMeanings[] = {
    {CodeOf("hue "), {V4L2_CID_HUE}, V4L2_CID_HUE_AUTO},
    {CodeOf("satu"), {V4L2_CID_SATURATION}},
    {CodeOf("shrp"), {V4L2_CID_SHARPNESS}},
    {CodeOf("brit"), {V4L2_CID_BRIGHTNESS}, V4L2_CID_AUTOBRIGHTNESS},
    {CodeOf("gain"), {V4L2_CID_GAIN, V4L2_CID_ANALOGUE_GAIN}, V4L2_CID_AUTOGAIN},
    {CodeOf("iris"), {V4L2_CID_IRIS_ABSOLUTE}},
    {CodeOf("shtr"), {V4L2_CID_EXPOSURE_ABSOLUTE}, V4L2_CID_EXPOSURE_AUTO, V4L2_EXPOSURE_MANUAL},
    {CodeOf("xpsr"), {V4L2_CID_EXPOSURE, V4L2_CID_EXPOSURE_ABSOLUTE}, V4L2_CID_EXPOSURE_AUTO, V4L2_EXPOSURE_MANUAL},
    {CodeOf("whbu"), {V4L2_CID_BLUE_BALANCE}, V4L2_CID_AUTO_WHITE_BALANCE},
    {CodeOf("whbv"), {V4L2_CID_RED_BALANCE}, V4L2_CID_AUTO_WHITE_BALANCE},
    {CodeOf("gmma"), {V4L2_CID_GAMMA}},
    {CodeOf("temp"), {V4L2_CID_WHITE_BALANCE_TEMPERATURE}, V4L2_CID_AUTO_WHITE_BALANCE},
    {CodeOf("zoom"), {V4L2_CID_ZOOM_ABSOLUTE}},
    {CodeOf("fcus"), {V4L2_CID_FOCUS_ABSOLUTE}, V4L2_CID_FOCUS_AUTO},
    {CodeOf("pan "), {V4L2_CID_PAN_ABSOLUTE}},
    {CodeOf("tilt"), {V4L2_CID_TILT_ABSOLUTE}},
};

const FeatureMeaning* MeaningOf(FourCharCode feature)
{
    const auto* found = std::ranges::find(kMeanings, feature, &FeatureMeaning::feature);
    return found == std::end(kMeanings) ? nullptr : found;
}

const ImageControl* ControlWith(const std::vector<ImageControl>& controls, uint32_t identity)
{
    const auto found = std::ranges::find(controls, identity, &ImageControl::identity);
    return identity == 0 || found == controls.end() ? nullptr : &*found;
}

int64_t UnitFor(const ImageControl& control)
{
    constexpr int64_t widest = std::numeric_limits<int16_t>::max();
    const int64_t reach = std::max(std::abs(control.minimum), std::abs(control.maximum));
    if (reach <= widest)
        return 1;
    const int64_t step = std::max<int64_t>(control.step, 1);
    return std::max(step, (reach + widest - 1) / widest);
}

} // namespace

CameraFeature FeatureControl::Feature() const
{
    return {.minimum = static_cast<int32_t>(control.minimum / unit),
            .maximum = static_cast<int32_t>(control.maximum / unit),
            .value = static_cast<int32_t>(control.value / unit),
            .writable = !control.readOnly};
}

int64_t FeatureControl::ControlValue(int32_t featureValue) const
{
    return std::clamp(featureValue * unit, control.minimum, control.maximum);
}

std::optional<FeatureControl> FindFeatureControl(const std::vector<ImageControl>& controls, FourCharCode feature)
{
    const FeatureMeaning* meaning = MeaningOf(feature);
    if (meaning == nullptr)
        return std::nullopt;
    for (const uint32_t identity : meaning->controls)
        if (const ImageControl* control = ControlWith(controls, identity);
            control != nullptr && control->kind == ImageControl::Kind::Integer)
            return FeatureControl{*control, UnitFor(*control)};
    return std::nullopt;
}

std::optional<std::pair<uint32_t, int64_t>> FindManualSwitch(const std::vector<ImageControl>& controls,
                                                             FourCharCode feature)
{
    const FeatureMeaning* meaning = MeaningOf(feature);
    const ImageControl* control = meaning == nullptr ? nullptr : ControlWith(controls, meaning->automaticSwitch);
    if (control == nullptr || control->value == meaning->manualValue)
        return std::nullopt;
    return std::pair{control->identity, meaning->manualValue};
}

} // namespace platform
