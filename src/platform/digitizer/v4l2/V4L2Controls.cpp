#include "platform/digitizer/v4l2/V4L2Controls.h"

#include <algorithm>
#include <array>
#include <optional>

namespace platform {
namespace {

constexpr int64_t kScale = 65535;
constexpr uint32_t kMostEntries = 1024;

// Digitizers set the level that is shown as white; cameras call the nearest thing gamma (once "whiteness") or gain.
std::array<uint32_t, 2> ControlsFor(AnalogControl control)
{
    switch (control) {
    case AnalogControl::Brightness:
        return {V4L2_CID_BRIGHTNESS, 0};
    case AnalogControl::Hue:
        return {V4L2_CID_HUE, 0};
    case AnalogControl::Contrast:
        return {V4L2_CID_CONTRAST, 0};
    case AnalogControl::Saturation:
        return {V4L2_CID_SATURATION, 0};
    case AnalogControl::Sharpness:
        return {V4L2_CID_SHARPNESS, 0};
    case AnalogControl::WhiteLevel:
        break;
    }
    return {V4L2_CID_GAMMA, V4L2_CID_GAIN};
}

std::optional<v4l2_queryctrl> Query(const V4L2Device& device, uint32_t identity)
{
    v4l2_queryctrl query{};
    query.id = identity;
    if (device.Ioctl(VIDIOC_QUERYCTRL, query) != 0 || (query.flags & V4L2_CTRL_FLAG_DISABLED) != 0)
        return std::nullopt;
    return query;
}

// The control behind an analog value: one with a range.
std::optional<v4l2_queryctrl> FindAnalog(const V4L2Device& device, AnalogControl control)
{
    for (const uint32_t identity : ControlsFor(control)) {
        const auto query = identity == 0 ? std::nullopt : Query(device, identity);
        if (query && query->type == V4L2_CTRL_TYPE_INTEGER && query->maximum > query->minimum)
            return query;
    }
    return std::nullopt;
}

std::optional<ImageControl::Kind> KindOf(uint32_t type)
{
    switch (type) {
    case V4L2_CTRL_TYPE_INTEGER:
        return ImageControl::Kind::Integer;
    case V4L2_CTRL_TYPE_BOOLEAN:
        return ImageControl::Kind::Boolean;
    case V4L2_CTRL_TYPE_MENU:
    case V4L2_CTRL_TYPE_INTEGER_MENU:
        return ImageControl::Kind::Menu;
    case V4L2_CTRL_TYPE_BUTTON:
        return ImageControl::Kind::Button;
    default:
        return std::nullopt;
    }
}

// A menu's numbers may have holes: the driver refuses to name those.
void ReadChoices(const V4L2Device& device, const v4l2_queryctrl& query, ImageControl& control)
{
    const int64_t last = std::min<int64_t>(query.maximum, int64_t{query.minimum} + kMostEntries);
    for (int64_t index = query.minimum; index <= last; ++index) {
        v4l2_querymenu entry{};
        entry.id = query.id;
        entry.index = static_cast<uint32_t>(index);
        if (device.Ioctl(VIDIOC_QUERYMENU, entry) == 0)
            control.choices.emplace_back(index, query.type == V4L2_CTRL_TYPE_MENU ? TextInField(entry.name)
                                                                                  : std::to_string(entry.value));
    }
}

std::optional<ImageControl> ReadControl(const V4L2Device& device, const v4l2_queryctrl& query)
{
    const auto kind = KindOf(query.type);
    if (!kind || (query.flags & V4L2_CTRL_FLAG_DISABLED) != 0)
        return std::nullopt;
    ImageControl control;
    control.identity = query.id;
    control.name = TextInField(query.name);
    control.kind = *kind;
    control.minimum = query.minimum;
    control.maximum = query.maximum;
    control.step = std::max(query.step, 1);
    control.deviceDefault = control.value = query.default_value;
    control.readOnly = (query.flags & V4L2_CTRL_FLAG_READ_ONLY) != 0;
    control.inactive = (query.flags & (V4L2_CTRL_FLAG_INACTIVE | V4L2_CTRL_FLAG_GRABBED)) != 0;
    v4l2_control present{};
    present.id = query.id;
    if (*kind != ImageControl::Kind::Button && device.Ioctl(VIDIOC_G_CTRL, present) == 0)
        control.value = present.value;
    if (*kind == ImageControl::Kind::Menu)
        ReadChoices(device, query, control);
    return control;
}

// The numbers of all controls, for drivers that can't step from one to the next.
std::vector<ImageControl> ProbeControls(const V4L2Device& device)
{
    std::vector<ImageControl> controls;
    for (uint32_t identity = V4L2_CID_BASE; identity < V4L2_CID_LASTP1; ++identity)
        if (const auto query = Query(device, identity))
            if (auto control = ReadControl(device, *query))
                controls.push_back(std::move(*control));
    return controls;
}

} // namespace

std::vector<ImageControl> EnumerateControls(const V4L2Device& device)
{
    std::vector<ImageControl> controls;
    v4l2_queryctrl query{};
    uint32_t steps = 0;
    for (uint32_t last = 0; steps < kMostEntries; ++steps) {
        query = {};
        query.id = last | V4L2_CTRL_FLAG_NEXT_CTRL;
        if (device.Ioctl(VIDIOC_QUERYCTRL, query) != 0 || query.id <= last)
            break;
        last = query.id;
        if (auto control = ReadControl(device, query))
            controls.push_back(std::move(*control));
    }
    return steps == 0 ? ProbeControls(device) : controls;
}

Result SetDeviceControl(const V4L2Device& device, uint32_t identity, int64_t value)
{
    const auto query = Query(device, identity);
    if (!query || !KindOf(query->type))
        return digiUnimpErr;
    if ((query->flags & V4L2_CTRL_FLAG_READ_ONLY) != 0)
        return permErr;
    if (query->type != V4L2_CTRL_TYPE_BUTTON && (value < query->minimum || value > query->maximum))
        return paramErr;
    v4l2_control control{identity, static_cast<int32_t>(value)};
    return ResultOfDeviceError(device.Ioctl(VIDIOC_S_CTRL, control));
}

Result GetAnalogValue(const V4L2Device& device, AnalogControl control, uint16_t& value)
{
    const auto query = FindAnalog(device, control);
    if (!query)
        return digiUnimpErr;
    v4l2_control present{};
    present.id = query->id;
    if (const int error = device.Ioctl(VIDIOC_G_CTRL, present); error != 0)
        return ResultOfDeviceError(error);
    const int64_t range = int64_t{query->maximum} - query->minimum;
    const int64_t offset = std::clamp<int64_t>(int64_t{present.value} - query->minimum, 0, range);
    value = static_cast<uint16_t>((offset * kScale + range / 2) / range);
    return noErr;
}

Result SetAnalogValue(const V4L2Device& device, AnalogControl control, uint16_t value, v4l2_control& taken)
{
    const auto query = FindAnalog(device, control);
    if (!query)
        return digiUnimpErr;
    const int64_t range = int64_t{query->maximum} - query->minimum;
    const int64_t step = std::max(query->step, 1);
    const int64_t offset = (value * range + kScale / 2) / kScale;
    const int64_t stepped = std::min((offset + step / 2) / step * step, range / step * step);
    taken = {query->id, static_cast<int32_t>(query->minimum + stepped)};
    return ResultOfDeviceError(device.Ioctl(VIDIOC_S_CTRL, taken));
}

std::vector<std::string> EnumerateInputs(const V4L2Device& device)
{
    std::vector<std::string> names;
    for (uint32_t i = 0; i < kMostEntries; ++i) {
        v4l2_input input{};
        input.index = i;
        if (device.Ioctl(VIDIOC_ENUMINPUT, input) != 0)
            break;
        names.push_back(TextInField(input.name));
    }
    return names;
}

std::vector<v4l2_standard> EnumerateStandards(const V4L2Device& device)
{
    std::vector<v4l2_standard> standards;
    for (uint32_t i = 0; i < kMostEntries; ++i) {
        v4l2_standard standard{};
        standard.index = i;
        if (device.Ioctl(VIDIOC_ENUMSTD, standard) != 0)
            break;
        standards.push_back(standard);
    }
    return standards;
}

} // namespace platform
