// SPDX-License-Identifier: MIT
// The saved settings of a session: one item per channel, of the channel's type, in the order of the channels; each
// contains the list of items that the channel itself saves.
#include "platform/grabber/SessionSettings.h"
#include "platform/grabber/ChannelSettings.h"
#include "platform/grabber/Session.h"
#include "platform/grabber/SettingsCheck.h"

#include <algorithm>

namespace platform {
namespace {

std::vector<ReplacedDevice>& ReplacedDevices()
{
    static auto& devices = *new std::vector<ReplacedDevice>;
    return devices;
}

// The device may be in another place, under its name.
void NoteReplacement(const Channel& channel, const TaggedItems& settings)
{
    const ListedDevice taken = channel.Device();
    const std::string wanted = settings.Text(kSavedName);
    if (!wanted.empty() && taken.identity != settings.Text(kSavedIdentity) && taken.name != wanted)
        ReplacedDevices().push_back({channel.type == kVideoMediaType, wanted, taken.name});
}

} // namespace

TaggedItems Session::Settings() const
{
    TaggedItems settings;
    settings.AddNumber(kSavedSession, kSettingsVersion);
    for (const auto& channel : channels.all)
        settings.AddItems(channel->type, channel->Settings());
    return settings;
}

std::vector<ReplacedDevice> TakeReplacedDevices()
{
    return std::exchange(ReplacedDevices(), {});
}

Result Session::ApplySettings(const TaggedItems& settings)
{
    // Read everything before changing anything.
    ReplacedDevices().clear();
    const auto read = ReadSavedChannels(settings);
    if (!read)
        return paramErr;
    const SavedChannels& wanted = *read;
    if (IsWritingMovie())
        return cantDoThatInCurrentMode;
    // The channels are new; devices that are used again keep running.
    auto present = channels.all;
    for (const auto& channel : present)
        DetachChannel(*channel);
    std::vector<std::shared_ptr<Channel>> made;
    for (const auto& [type, inner] : wanted)
        made.push_back(ChannelFor(type, inner, present));
    present.clear();
    for (size_t i = 0; i < made.size(); ++i) {
        made[i]->ApplySettings(wanted[i].second);
        AddChannel(made[i]);
        NoteReplacement(*made[i], wanted[i].second);
    }
    if (mode != GrabMode::Stopped)
        RunDevices();
    return noErr;
}

// The present channel with the requested device, removed from the list, or a new one.
std::shared_ptr<Channel> Session::ChannelFor(FourCharCode type, const TaggedItems& settings,
                                             std::vector<std::shared_ptr<Channel>>& present)
{
    const std::string identity = settings.Text(kSavedIdentity);
    const std::string name = settings.Text(kSavedName);
    const auto takeOver = [&](const std::string& device) -> std::shared_ptr<Channel> {
        const auto found = std::ranges::find_if(present, [&](const auto& channel) {
            return channel->type == type && channel->Device().identity == device;
        });
        if (found == present.end())
            return nullptr;
        auto taken = *found;
        present.erase(found);
        taken->ForgetSettings();
        return taken;
    };
    if (auto taken = takeOver(identity))
        return taken;
    if (type == kSoundMediaType)
        return SoundChannel::OnBestSource(queue, identity, name);
    // The device opened instead of an absent camera may be in use here already, and can't be opened twice.
    std::shared_ptr<Digitizer> device = OpenDigitizer(identity, name);
    auto taken = takeOver(device->Identity());
    return taken ? taken : std::make_shared<VideoChannel>(queue, std::move(device));
}

} // namespace platform
