// SPDX-License-Identifier: MIT
#include "platform/grabber/SettingsCheck.h"

namespace platform {
namespace {

// Each channel opens a device, so the number that a file may request is limited.
constexpr size_t kMaxChannels = 16;

} // namespace

SettingsFault CheckSettings(std::span<const uint8_t> flattened)
{
    const auto items = TaggedItems::Read(flattened);
    if (!items)
        return TaggedItems::HasSignature(flattened) ? SettingsFault::Damaged : SettingsFault::Foreign;
    if (!items->Find(kSavedSession))
        return SettingsFault::Foreign;
    return ReadSavedChannels(*items) ? SettingsFault::None : SettingsFault::Damaged;
}

std::optional<SavedChannels> ReadSavedChannels(const TaggedItems& settings)
{
    if (settings.Number(kSavedSession, 0) != kSettingsVersion)
        return std::nullopt;
    SavedChannels saved;
    for (const auto& item : settings.All()) {
        if (item.tag != kVideoMediaType && item.tag != kSoundMediaType)
            continue;
        auto inner = TaggedItems::Read(item.bytes);
        if (!inner || saved.size() == kMaxChannels)
            return std::nullopt;
        saved.emplace_back(item.tag, std::move(*inner));
    }
    return saved;
}

} // namespace platform
