// SPDX-License-Identifier: MIT
#pragma once

#include "platform/grabber/dialogs/SettingsPage.h"

namespace platform {

/// Device, input and gain, with the level that comes in.
SettingsPage* MakeSoundSourcePage(SettingsTrial& trial, SoundChannel& channel);

/// Sample rate, sample size and channels, of what the device offers.
SettingsPage* MakeSoundSamplePage(SoundChannel& channel);

/// The compression, with the data rate that comes of it.
SettingsPage* MakeSoundCompressionPage(SoundChannel& channel);

} // namespace platform
