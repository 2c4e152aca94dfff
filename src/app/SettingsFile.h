// SPDX-License-Identifier: MIT
#pragma once

#include "framework/FolderItem.h"

namespace velmora {

/// Reads a file that the user wants to open as settings, and says why it can't be: a sentence, empty where it can.
/// Settings are known by their content, whatever the file's name. Opening them afterwards is `UserSettings`.
framework::String ObjectionToSettingsFile(const framework::FolderItem& file);

} // namespace velmora
