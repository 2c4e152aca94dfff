// SPDX-License-Identifier: MIT
#pragma once

#include "platform/grabber/dialogs/SettingsPage.h"

namespace platform {

/// The device's picture as it is captured and compressed, with its size and rate.
SettingsPage* MakeVideoPreview();

/// Device, input, television standard, frame format, size and rate.
SettingsPage* MakeVideoSourcePage(SettingsTrial& trial, VideoChannel& channel);

/// Compressor, quality, depth and key frames, with the data rate that comes of them.
SettingsPage* MakeVideoCompressionPage(VideoChannel& channel);

/// Every image control that the device has, and a button for the device's own defaults.
SettingsPage* MakeVideoImagePage(VideoChannel& channel);

} // namespace platform
