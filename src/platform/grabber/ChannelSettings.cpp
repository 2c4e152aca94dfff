// SPDX-License-Identifier: MIT
#include "platform/grabber/ChannelSettings.h"

#include <algorithm>
#include <cmath>

namespace platform {
namespace {

constexpr FourCharCode kUsage = CodeOf("usag");
constexpr FourCharCode kPlayFlags = CodeOf("plyf");
constexpr double kMillion = 1e6;

std::optional<int> SavedChoice(const TaggedItems& settings, FourCharCode tag, FourCharCode nameTag,
                               const std::vector<std::string>& offered)
{
    if (const auto found = std::ranges::find(offered, settings.Text(nameTag)); found != offered.end())
        return static_cast<int>(found - offered.begin());
    const auto number = settings.Number(tag);
    if (number && *number >= 0 && *number < static_cast<int64_t>(offered.size()))
        return static_cast<int>(*number);
    return std::nullopt;
}

} // namespace

int64_t Millionths(double value)
{
    return std::llround(value * kMillion);
}

double FromMillionths(int64_t millionths)
{
    return static_cast<double>(millionths) / kMillion;
}

void ApplyChoice(const TaggedItems& settings, FourCharCode tag, FourCharCode nameTag,
                 const std::vector<std::string>& offered, int present, const std::function<void(int)>& select)
{
    const auto choice = SavedChoice(settings, tag, nameTag, offered);
    if (choice && *choice != present)
        select(*choice);
}

void SaveChoice(TaggedItems& settings, FourCharCode tag, FourCharCode nameTag, const std::vector<std::string>& offered,
                int chosen)
{
    if (chosen < 0 || static_cast<size_t>(chosen) >= offered.size())
        return;
    settings.AddNumber(tag, chosen);
    settings.AddText(nameTag, offered[static_cast<size_t>(chosen)]);
}

bool AreFor(const TaggedItems& settings, const ListedDevice& device)
{
    return settings.Text(kSavedIdentity) == device.identity || settings.Text(kSavedName) == device.name;
}

void SaveCommonSettings(TaggedItems& settings, const Channel& channel)
{
    const ListedDevice device = channel.Device();
    settings.AddText(kSavedIdentity, device.identity);
    settings.AddText(kSavedName, device.name);
    SaveChoice(settings, kSavedInput, kSavedInputName, device.inputs, device.input);
    settings.AddNumber(kUsage, channel.usage);
    settings.AddNumber(kPlayFlags, channel.playFlags);
}

void ApplyCommonSettings(const TaggedItems& settings, Channel& channel)
{
    channel.usage = Fitting(settings, kUsage, channel.usage);
    channel.playFlags = Fitting(settings, kPlayFlags, channel.playFlags);
}

} // namespace platform
