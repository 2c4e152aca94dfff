// SPDX-License-Identifier: MIT
#include "platform/digitizer/pipewire/PipeWireControls.h"

#include "platform/digitizer/pipewire/PipeWirePods.h"

#include <algorithm>
#include <cmath>

namespace platform {
namespace {

constexpr int64_t kFractionSteps = 1000;

struct Meaning {
    uint32_t property;
    FourCharCode feature;
    const char* name;
};
constexpr Meaning kMeanings[] = {
    {SPA_PROP_brightness, CodeOf("brit"), "Brightness"},
    {SPA_PROP_contrast, kContrastFeature, "Contrast"},
    {SPA_PROP_saturation, CodeOf("satu"), "Saturation"},
    {SPA_PROP_hue, CodeOf("hue "), "Hue"},
    {SPA_PROP_gamma, CodeOf("gmma"), "Gamma"},
    {SPA_PROP_exposure, CodeOf("xpsr"), "Exposure"},
    {SPA_PROP_gain, CodeOf("gain"), "Gain"},
    {SPA_PROP_sharpness, CodeOf("shrp"), "Sharpness"},
};

int64_t StepsOf(const PipeWireNode::Property& property, double value)
{
    const double range = property.maximum - property.minimum;
    const bool isUsable = range > 0 && std::isfinite(value);
    return isUsable ? std::llround(std::clamp((value - property.minimum) / range, 0.0, 1.0) * kFractionSteps) : 0;
}

// Returns false for a property that is not a range of numbers.
bool ReadRange(const spa_pod* parameter, PipeWireNode::Property& property)
{
    const auto whole = ReadChoice<int32_t>(parameter, SPA_PROP_INFO_type, SPA_TYPE_Int);
    if (whole.isRange) {
        property.control.deviceDefault = whole.values[0];
        property.control.minimum = whole.values[1];
        property.control.maximum = std::max(whole.values[1], whole.values[2]);
        return true;
    }
    const auto fraction = ReadChoice<float>(parameter, SPA_PROP_INFO_type, SPA_TYPE_Float);
    if (!fraction.isRange || !std::isfinite(fraction.values[1]) || !std::isfinite(fraction.values[2]))
        return false;
    property.isFraction = true;
    property.minimum = static_cast<double>(fraction.values[1]);
    property.maximum = static_cast<double>(fraction.values[2]);
    property.control.maximum = kFractionSteps;
    property.control.deviceDefault = StepsOf(property, static_cast<double>(fraction.values[0]));
    return true;
}

} // namespace

void AddProperty(const spa_pod* parameter, std::vector<PipeWireNode::Property>& properties)
{
    const auto identities = ReadChoice<uint32_t>(parameter, SPA_PROP_INFO_id, SPA_TYPE_Id).values;
    const auto* meaning =
        identities.empty() ? std::end(kMeanings) : std::ranges::find(kMeanings, identities[0], &Meaning::property);
    PipeWireNode::Property property;
    if (meaning == std::end(kMeanings) || !ReadRange(parameter, property))
        return;
    property.control.identity = meaning->property;
    property.control.name = meaning->name;
    property.control.features = {meaning->feature};
    property.control.value = property.control.deviceDefault;
    std::erase_if(properties, [&](const auto& one) { return one.control.identity == meaning->property; });
    properties.push_back(std::move(property));
}

void ReadPropertyValues(const spa_pod* parameter, std::vector<PipeWireNode::Property>& properties)
{
    for (PipeWireNode::Property& property : properties) {
        const uint32_t key = property.control.identity;
        if (const auto whole = ReadChoice<int32_t>(parameter, key, SPA_TYPE_Int).values; !whole.empty())
            property.control.value = whole[0];
        if (const auto fraction = ReadChoice<float>(parameter, key, SPA_TYPE_Float).values; !fraction.empty())
            property.control.value = StepsOf(property, static_cast<double>(fraction[0]));
    }
}

const spa_pod* BuildProperty(spa_pod_builder& builder, const PipeWireNode::Property& property, int64_t value)
{
    const double range = property.maximum - property.minimum;
    spa_pod_frame frame{};
    spa_pod_builder_push_object(&builder, &frame, SPA_TYPE_OBJECT_Props, SPA_PARAM_Props);
    spa_pod_builder_prop(&builder, property.control.identity, 0);
    if (property.isFraction)
        spa_pod_builder_float(
            &builder, static_cast<float>(property.minimum + static_cast<double>(value) * range / kFractionSteps));
    else
        spa_pod_builder_int(&builder, static_cast<int32_t>(value));
    return static_cast<const spa_pod*>(spa_pod_builder_pop(&builder, &frame));
}

} // namespace platform
