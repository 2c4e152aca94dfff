// SPDX-License-Identifier: MIT
#pragma once

#include "platform/atoms/TaggedItems.h"

#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace platform {

// Saved settings as they come from a file: what they are is found out before anything is changed by them.

enum class SettingsFault {
    None,    ///< `SGSetSettings` accepts them
    Foreign, ///< not settings
    Damaged, ///< settings that were truncated or changed, or saved by a newer version of this program
};

/// Checks the flattened form of settings.
SettingsFault CheckSettings(std::span<const uint8_t> flattened);

inline constexpr FourCharCode kSavedSession = CodeOf("sgrb"); ///< the item that marks settings: their version
inline constexpr int64_t kSettingsVersion = 1;

/// A channel in the settings: its media type and its own settings.
using SavedChannels = std::vector<std::pair<FourCharCode, TaggedItems>>;

/// The channels in a session's settings, in their order; none if the settings are not a session's, of another version,
/// damaged, or ask for more channels than a session may have.
std::optional<SavedChannels> ReadSavedChannels(const TaggedItems& settings);

} // namespace platform
