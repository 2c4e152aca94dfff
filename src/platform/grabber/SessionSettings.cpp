// SPDX-License-Identifier: MIT
// The saved settings of a session: one item per channel, of the channel's type, in the order of the channels; each
// contains the list of items that the channel itself saves.
#include "platform/grabber/SessionSettings.h"
#include "platform/grabber/ChannelSettings.h"
#include "platform/grabber/Session.h"

#include <algorithm>

namespace platform {
namespace {

constexpr FourCharCode kSession = CodeOf("sgrb");
constexpr int64_t kSettingsVersion = 1;
// Each channel opens a device, so the number that a file may request is limited.
constexpr size_t kMaxChannels = 16;

// A channel in the settings: its type and its own settings.
using WantedChannels = std::vector<std::pair<FourCharCode, TaggedItems>>;

std::optional<WantedChannels> ReadChannels(const TaggedItems& settings)
{
    if (settings.Number(kSession, 0) != kSettingsVersion)
        return std::nullopt;
    WantedChannels wanted;
    for (const auto& item : settings.All()) {
        if (item.tag != kVideoMediaType && item.tag != kSoundMediaType)
            continue;
        auto inner = TaggedItems::Read(item.bytes);
        if (!inner || wanted.size() == kMaxChannels)
            return std::nullopt;
        wanted.emplace_back(item.tag, std::move(*inner));
    }
    return wanted;
}

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
    settings.AddNumber(kSession, kSettingsVersion);
    for (const auto& channel : channels.all)
        settings.AddItems(channel->type, channel->Settings());
    return settings;
}

std::vector<ReplacedDevice> TakeReplacedDevices()
{
    return std::exchange(ReplacedDevices(), {});
}

SettingsFault CheckSettings(std::span<const uint8_t> flattened)
{
    const auto items = TaggedItems::Read(flattened);
    if (!items)
        return TaggedItems::HasSignature(flattened) ? SettingsFault::Damaged : SettingsFault::Foreign;
    if (!items->Find(kSession))
        return SettingsFault::Foreign;
    return ReadChannels(*items) ? SettingsFault::None : SettingsFault::Damaged;
}

Result Session::ApplySettings(const TaggedItems& settings)
{
    // Read everything before changing anything.
    ReplacedDevices().clear();
    const auto read = ReadChannels(settings);
    if (!read)
        return paramErr;
    const WantedChannels& wanted = *read;
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
