// SPDX-License-Identifier: MIT
#pragma once

#include "platform/grabber/dialogs/SettingsPage.h"

namespace platform {

/// The device's picture as captured and compressed, with its size and rate.
SettingsPage* MakeVideoPreview();

/// Device, input, television standard, frame format, size and rate.
SettingsPage* MakeVideoSourcePage(SettingsTrial& trial, VideoChannel& channel);

/// Compressor, quality, depth and key frames, with the resulting data rate.
SettingsPage* MakeVideoCompressionPage(VideoChannel& channel);

/// Every image control of the device, and a button for the device's defaults.
SettingsPage* MakeVideoImagePage(VideoChannel& channel);

} // namespace platform
