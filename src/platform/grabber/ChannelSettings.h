// SPDX-License-Identifier: MIT
#pragma once

#include "platform/atoms/TaggedItems.h"
#include "platform/grabber/Channel.h"

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace platform {

// What channels of both kinds save, and how. Devices are named by identity and by name, choices (inputs, standards) by
// name and by number, so that another machine can look for the nearest that it has. Fractions are stored in
// millionths. The order of all items is fixed, and the same settings always give the same bytes.

inline constexpr FourCharCode kSavedIdentity = CodeOf("devi");
inline constexpr FourCharCode kSavedName = CodeOf("devn");
inline constexpr FourCharCode kSavedInput = CodeOf("inpt");
inline constexpr FourCharCode kSavedInputName = CodeOf("inpn");
inline constexpr FourCharCode kSavedRate = CodeOf("rate"); ///< of frames or samples, in millionths

/// A fraction as settings store it.
int64_t Millionths(double value);

/// A number of the settings as the type that takes it; `standard` where there is none or it does not fit.
template <typename T> T Fitting(const TaggedItems& settings, FourCharCode tag, T standard)
{
    const auto value = settings.Number(tag);
    return value && *value >= std::numeric_limits<T>::min() && *value <= std::numeric_limits<T>::max()
               ? static_cast<T>(*value)
               : standard;
}

/// The index of a saved choice: by its name, or by its number where no such name is offered.
std::optional<int> SavedChoice(const TaggedItems& settings, FourCharCode tag, FourCharCode nameTag,
                               const std::vector<std::string>& offered);

/// Saves a choice by number and name; one that is not offered is left out.
void SaveChoice(TaggedItems& settings, FourCharCode tag, FourCharCode nameTag, const std::vector<std::string>& offered,
                int chosen);

/// Whether settings were saved for that device or one of the same model. Gain and image controls apply to one device
/// only: set on another one, they would spoil a microphone or a camera that was well.
bool AreFor(const TaggedItems& settings, const ListedDevice& device);

/// Saves the device, its input and the usage of a channel.
void SaveCommonSettings(TaggedItems& settings, const Channel& channel);

/// Applies the usage.
void ApplyCommonSettings(const TaggedItems& settings, Channel& channel);

} // namespace platform
