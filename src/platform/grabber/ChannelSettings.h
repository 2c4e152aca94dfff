// SPDX-License-Identifier: MIT
#pragma once

#include "platform/atoms/TaggedItems.h"
#include "platform/grabber/Channel.h"

#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace platform {

// Settings saved by channels of both kinds. Devices are saved by identity and name, choices (inputs, standards) by name
// and number, so that another machine can find the nearest that it has. Fractions are stored in millionths. The order
// of all items is fixed, and the same settings always give the same bytes.

inline constexpr FourCharCode kSavedIdentity = CodeOf("devi");
inline constexpr FourCharCode kSavedName = CodeOf("devn");
inline constexpr FourCharCode kSavedInput = CodeOf("inpt");
inline constexpr FourCharCode kSavedInputName = CodeOf("inpn");
inline constexpr FourCharCode kSavedRate = CodeOf("rate"); ///< in millionths of a frame or sample per second

/// Converts a number to millionths.
int64_t Millionths(double value);
/// Converts millionths to a number.
double FromMillionths(int64_t millionths);

/// Reads a number as type `T`; `standard` if there is none or it is out of range.
template <typename T> T Fitting(const TaggedItems& settings, FourCharCode tag, T standard)
{
    const auto value = settings.Number(tag);
    return value && *value >= std::numeric_limits<T>::min() && *value <= std::numeric_limits<T>::max()
               ? static_cast<T>(*value)
               : standard;
}

/// Calls `select` with the index of a saved choice, unless that is `present`. A choice is found by its name, or by its
/// number if there is no such name.
void ApplyChoice(const TaggedItems& settings, FourCharCode tag, FourCharCode nameTag,
                 const std::vector<std::string>& offered, int present, const std::function<void(int)>& select);

/// Saves a choice by number and name; nothing if the index is out of range.
void SaveChoice(TaggedItems& settings, FourCharCode tag, FourCharCode nameTag, const std::vector<std::string>& offered,
                int chosen);

/// Whether settings were saved for this device or another one of its model. Gain and image controls only suit that
/// device: on another one they could spoil a good setting.
bool AreFor(const TaggedItems& settings, const ListedDevice& device);

/// Saves the device, its input and the usage of a channel.
void SaveCommonSettings(TaggedItems& settings, const Channel& channel);

/// Applies the saved usage.
void ApplyCommonSettings(const TaggedItems& settings, Channel& channel);

} // namespace platform
