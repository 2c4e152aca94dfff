// SPDX-License-Identifier: MIT
#include "platform/grabber/SettingsTrial.h"

#include <algorithm>
#include <ranges>

namespace platform {

SettingsTrial::SettingsTrial(std::shared_ptr<Session> grabber, std::shared_ptr<Channel> tried)
    : session(std::move(grabber)), channel(std::move(tried))
{
    Meet();
    paused = session->BeginTrial();
    channel->FinishArrived();
    while (auto waiting = session->TakeWaiting(*channel))
        setAside.push_back(std::move(*waiting));
    KeepRunning();
}

// Drop what the device still sent for the trial, so that none of it is delivered afterwards.
SettingsTrial::~SettingsTrial()
{
    channel->Rest();
    channel->DiscardArrived();
    while (session->TakeWaiting(*channel)) {
    }
    for (Sample& sample : setAside)
        session->PutBack(*channel, std::move(sample));
    session->EndTrial(*channel, paused);
}

void SettingsTrial::Meet()
{
    met.push_back({channel->Device().identity, channel->RestorePoint(), channel->Settings()});
}

Result SettingsTrial::TakeDevice(const ListedDevice& device)
{
    const Result result = channel->TakeDevice(device);
    if (result == noErr && std::ranges::find(met, device.identity, &Found::identity) == met.end())
        Meet();
    return result;
}

bool SettingsTrial::IsAsFound(const Found& found) const
{
    return channel->Device().identity == found.identity && channel->Settings().Flatten() == found.settings.Flatten();
}

void SettingsTrial::Restore()
{
    // Nothing is stopped for a dialog in which nothing was changed.
    if (met.size() == 1 && IsAsFound(met.front()))
        return;
    channel->Halt();
    for (const Found& found : met | std::views::reverse) {
        found.restore();
        channel->ApplySettings(found.settings);
    }
}

} // namespace platform
