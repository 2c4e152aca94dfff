// SPDX-License-Identifier: MIT
#pragma once

#include "platform/grabber/dialogs/SettingsPage.h"

namespace platform {

/// Device, input and gain, with the present level.
SettingsPage* MakeSoundSourcePage(SettingsTrial& trial, SoundChannel& channel);

/// Sample rate, sample size and channels offered by the device.
SettingsPage* MakeSoundSamplePage(SoundChannel& channel);

/// The compressor and the resulting data rate.
SettingsPage* MakeSoundCompressionPage(SoundChannel& channel);

} // namespace platform
