// SPDX-License-Identifier: MIT
#include "platform/digitizer/v4l2/V4L2Controls.h"

#include <algorithm>
#include <cerrno>

namespace platform {
namespace {

constexpr uint32_t kMaxEntries = 1024;

struct Meaning {
    uint32_t identity;
    std::array<FourCharCode, 2> features; ///< its own, and one for which it is used
    uint32_t automaticSwitch = 0;
    int64_t manualValue = 0;
    const char* unit = "";
};

constexpr Meaning kMeanings[] = {
    {V4L2_CID_HUE, {CodeOf("hue ")}, V4L2_CID_HUE_AUTO},
    {V4L2_CID_SATURATION, {CodeOf("satu")}},
    {V4L2_CID_SHARPNESS, {CodeOf("shrp")}},
    {V4L2_CID_CONTRAST, {kContrastFeature}},
    {V4L2_CID_BRIGHTNESS, {CodeOf("brit")}, V4L2_CID_AUTOBRIGHTNESS},
    {V4L2_CID_GAIN, {CodeOf("gain")}, V4L2_CID_AUTOGAIN},
    {V4L2_CID_ANALOGUE_GAIN, {0, CodeOf("gain")}},
    {V4L2_CID_IRIS_ABSOLUTE, {CodeOf("iris")}},
    {V4L2_CID_EXPOSURE_ABSOLUTE,
     {CodeOf("shtr"), CodeOf("xpsr")},
     V4L2_CID_EXPOSURE_AUTO,
     V4L2_EXPOSURE_MANUAL,
     "× 0.1 ms"},
    {V4L2_CID_EXPOSURE, {CodeOf("xpsr")}, V4L2_CID_EXPOSURE_AUTO, V4L2_EXPOSURE_MANUAL},
    {V4L2_CID_BLUE_BALANCE, {CodeOf("whbu")}, V4L2_CID_AUTO_WHITE_BALANCE},
    {V4L2_CID_RED_BALANCE, {CodeOf("whbv")}, V4L2_CID_AUTO_WHITE_BALANCE},
    {V4L2_CID_GAMMA, {CodeOf("gmma")}},
    {V4L2_CID_WHITE_BALANCE_TEMPERATURE, {CodeOf("temp")}, V4L2_CID_AUTO_WHITE_BALANCE, 0, "K"},
    {V4L2_CID_ZOOM_ABSOLUTE, {CodeOf("zoom")}},
    {V4L2_CID_FOCUS_ABSOLUTE, {CodeOf("fcus")}, V4L2_CID_FOCUS_AUTO},
    {V4L2_CID_PAN_ABSOLUTE, {CodeOf("pan ")}, 0, 0, "″"},
    {V4L2_CID_TILT_ABSOLUTE, {CodeOf("tilt")}, 0, 0, "″"},
};

std::optional<ImageControl::Kind> KindOf(uint32_t type)
{
    switch (type) {
    case V4L2_CTRL_TYPE_INTEGER:
    case V4L2_CTRL_TYPE_INTEGER64:
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

// Older drivers only know the shorter record.
std::optional<v4l2_query_ext_ctrl> Query(const V4L2Device& device, uint32_t identity)
{
    v4l2_query_ext_ctrl query{};
    query.id = identity;
    if (device.Ioctl(VIDIOC_QUERY_EXT_CTRL, query) == 0)
        return query;
    v4l2_queryctrl brief{};
    brief.id = identity;
    if (device.Ioctl(VIDIOC_QUERYCTRL, brief) != 0)
        return std::nullopt;
    query = {};
    query.id = brief.id;
    query.type = brief.type;
    std::copy_n(brief.name, sizeof brief.name, query.name);
    query.minimum = brief.minimum;
    query.maximum = brief.maximum;
    query.step = static_cast<__u64>(std::max(brief.step, 1));
    query.default_value = brief.default_value;
    query.flags = brief.flags;
    return query;
}

// A menu's numbers may have gaps, which the driver refuses to name.
void ReadChoices(const V4L2Device& device, uint32_t type, ImageControl& control)
{
    const int64_t last = std::min(control.maximum, control.minimum + kMaxEntries);
    for (int64_t index = control.minimum; index <= last; ++index) {
        v4l2_querymenu entry{};
        entry.id = control.identity;
        entry.index = static_cast<uint32_t>(index);
        if (device.Ioctl(VIDIOC_QUERYMENU, entry) == 0)
            control.choices.emplace_back(index, type == V4L2_CTRL_TYPE_MENU ? TextInField(entry.name)
                                                                            : std::to_string(entry.value));
    }
}

std::optional<ImageControl> ControlOf(const V4L2Device& device, const v4l2_query_ext_ctrl& query)
{
    const auto kind = KindOf(query.type);
    if (!kind || (query.flags & (V4L2_CTRL_FLAG_DISABLED | V4L2_CTRL_FLAG_HAS_PAYLOAD)) != 0)
        return std::nullopt;
    ImageControl control;
    control.identity = query.id;
    control.name = std::string(query.name, strnlen(query.name, sizeof query.name));
    control.kind = *kind;
    control.minimum = query.minimum;
    control.maximum = std::max(query.minimum, query.maximum);
    control.step = static_cast<int64_t>(std::clamp<uint64_t>(query.step, 1, INT64_MAX));
    control.deviceDefault = control.value = query.default_value;
    control.readOnly = (query.flags & V4L2_CTRL_FLAG_READ_ONLY) != 0;
    control.writeOnly = (query.flags & V4L2_CTRL_FLAG_WRITE_ONLY) != 0;
    control.inactive = (query.flags & (V4L2_CTRL_FLAG_INACTIVE | V4L2_CTRL_FLAG_GRABBED)) != 0;
    if (control.kind == ImageControl::Kind::Menu)
        ReadChoices(device, query.type, control);
    AddMeaning(control);
    return control;
}

} // namespace

void AddMeaning(ImageControl& control)
{
    const auto* meaning = std::ranges::find(kMeanings, control.identity, &Meaning::identity);
    if (meaning == std::end(kMeanings))
        return;
    control.features = meaning->features;
    control.automaticSwitch = meaning->automaticSwitch;
    control.manualValue = meaning->manualValue;
    control.unit = meaning->unit;
}

// Drivers that can't enumerate their controls are asked for each of the usual ones.
void V4L2Controls::Enumerate()
{
    isKnown = true; // a change reported meanwhile makes this false again
    known.clear();
    wide.clear();
    const auto add = [this](const std::optional<v4l2_query_ext_ctrl>& query) {
        if (query && query->type == V4L2_CTRL_TYPE_INTEGER64)
            wide.insert(query->id);
        if (const auto control = query ? ControlOf(*device, *query) : std::nullopt)
            known.push_back(*control);
    };
    uint32_t last = 0;
    for (uint32_t steps = 0; steps < kMaxEntries; ++steps) {
        const auto query = Query(*device, last | V4L2_CTRL_FLAG_NEXT_CTRL);
        if (!query || query->id <= last)
            break;
        last = query->id;
        add(query);
    }
    for (uint32_t identity = V4L2_CID_BASE; last == 0 && identity < V4L2_CID_LASTP1; ++identity)
        add(Query(*device, identity));
    for (const ImageControl& control : known)
        Subscribe(control.identity);
}

// A driver without events is queried completely each time.
void V4L2Controls::Subscribe(uint32_t identity)
{
    if (std::ranges::find(subscribed, identity) != subscribed.end())
        return;
    v4l2_event_subscription subscription{};
    subscription.type = V4L2_EVENT_CTRL;
    subscription.id = identity;
    subscription.flags = V4L2_EVENT_SUB_FL_ALLOW_FEEDBACK;
    if (device->Ioctl(VIDIOC_SUBSCRIBE_EVENT, subscription) == 0)
        subscribed.push_back(identity);
    else
        isKnown = false;
}

// Transfers one value, with the extended call if possible, which alone supports 64 bits. 0 or an error number.
int V4L2Controls::Transfer(bool write, uint32_t identity, int64_t& value) const
{
    const bool isWide = wide.contains(identity);
    v4l2_ext_control one{};
    one.id = identity;
    isWide ? static_cast<void>(one.value64 = value) : static_cast<void>(one.value = static_cast<int32_t>(value));
    v4l2_ext_controls list{};
    list.which = V4L2_CTRL_WHICH_CUR_VAL;
    list.count = 1;
    list.controls = &one;
    const int error = device->Ioctl(write ? VIDIOC_S_EXT_CTRLS : VIDIOC_G_EXT_CTRLS, list);
    if (error == 0)
        value = isWide ? one.value64 : one.value;
    if (isWide || (error != ENOTTY && error != EINVAL))
        return error;
    v4l2_control plain{identity, static_cast<int32_t>(value)};
    const int second = device->Ioctl(write ? VIDIOC_S_CTRL : VIDIOC_G_CTRL, plain);
    if (second == 0)
        value = plain.value;
    return second;
}

std::optional<int64_t> V4L2Controls::ReadValue(const ImageControl& control) const
{
    int64_t value = 0;
    if (control.kind == ImageControl::Kind::Button || control.writeOnly ||
        Transfer(false, control.identity, value) != 0)
        return std::nullopt;
    return value;
}

std::vector<ImageControl> V4L2Controls::Read()
{
    const std::lock_guard lock(mutex);
    if (!isKnown || !isFollowed)
        Enumerate();
    for (ImageControl& control : known)
        control.value = ReadValue(control).value_or(control.value);
    return known;
}

Result V4L2Controls::Write(uint32_t identity, int64_t value)
{
    const std::lock_guard lock(mutex);
    if (known.empty())
        Enumerate();
    const auto control = std::ranges::find(known, identity, &ImageControl::identity);
    if (control == known.end())
        return digiUnimpErr;
    if (control->readOnly)
        return permErr;
    if (control->kind != ImageControl::Kind::Button && (value < control->minimum || value > control->maximum))
        return paramErr;
    return ResultOfDeviceError(Transfer(true, identity, value));
}

void V4L2Controls::FollowEvents(bool followed)
{
    isFollowed = followed;
    isKnown = false;
}

void V4L2Controls::Changed(const v4l2_event& event)
{
    if ((event.u.ctrl.changes & ~static_cast<uint32_t>(V4L2_EVENT_CTRL_CH_VALUE)) == 0)
        return;
    isKnown = false;
}

} // namespace platform
