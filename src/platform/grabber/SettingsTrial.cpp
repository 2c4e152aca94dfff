#include "platform/grabber/SettingsTrial.h"

#include <algorithm>
#include <ranges>

namespace platform {

SettingsTrial::SettingsTrial(std::shared_ptr<Session> grabber, std::shared_ptr<Channel> tried)
    : session(std::move(grabber)), channel(std::move(tried)), met{{channel->Device(), channel->Settings()}}
{
    session->BeginTrial(*channel);
}

SettingsTrial::~SettingsTrial()
{
    session->EndTrial(*channel);
}

Result SettingsTrial::TakeDevice(const ListedDevice& device)
{
    const Result result = channel->TakeDevice(device);
    const auto isIt = [&](const Found& found) { return found.device.identity == device.identity; };
    if (result == noErr && std::ranges::none_of(met, isIt))
        met.push_back({channel->Device(), channel->Settings()});
    return result;
}

bool SettingsTrial::IsAsFound(const Found& found) const
{
    return channel->Device().identity == found.device.identity &&
           channel->Settings().Flatten() == found.settings.Flatten();
}

void SettingsTrial::Restore()
{
    // Nothing is stopped for a dialog in which nothing was done.
    if (met.size() == 1 && IsAsFound(met.front()))
        return;
    channel->Halt();
    for (const Found& found : met | std::views::reverse)
        if (channel->TakeDevice(found.device) == noErr)
            channel->ApplySettings(found.settings);
}

} // namespace platform
