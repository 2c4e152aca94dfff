// SPDX-License-Identifier: MIT
#include "app/SettingsFile.h"

#include "framework/TextStreams.h"
#include "platform/grabber/SettingsCheck.h"

namespace velmora {

framework::String ObjectionToSettingsFile(const framework::FolderItem& file)
{
    const auto stream = framework::FolderItem(file).OpenAsTextFile();
    if (!stream)
        return file.Name() + " can't be read.";
    const framework::String content = stream->ReadAll();
    const auto* bytes = reinterpret_cast<const uint8_t*>(content.Bytes().data());
    switch (platform::CheckSettings({bytes, content.Bytes().size()})) {
    case platform::SettingsFault::Foreign:
        return file.Name() + " does not contain Velmora settings. Settings files are made by File, Save Settings.";
    case platform::SettingsFault::Damaged:
        return file.Name() + " contains settings that can't be read: the file is damaged or incomplete, or a newer "
                             "version of Velmora saved it.";
    case platform::SettingsFault::None:
        break;
    }
    return "";
}

} // namespace velmora
