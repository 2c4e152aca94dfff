// SPDX-License-Identifier: MIT
#include "app/FileTypes.h"

#include "framework/TextStreams.h"
#include "platform/grabber/SavedSettings.h"

namespace velmora {
namespace FileTypes {

framework::Reference<framework::FileType> pText;
framework::Reference<framework::FileType> pDv;

namespace {

framework::Reference<framework::FileType> MakeType(const framework::String& name, const framework::String& macType,
                                                   const framework::String& macCreator)
{
    auto type = framework::New<framework::FileType>();
    type->Name = name;
    type->Extensions = "";
    type->MacType = macType;
    type->MacCreator = macCreator;
    return type;
}

// Settings are bytes, in whatever file: only what is in it tells.
framework::String ObjectionToSettings(const framework::FolderItem& file)
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

} // namespace

void _Initialize()
{
    pText = MakeType("text", "TEXT", "R*ch");
    pText->Description = "Velmora settings";
    pText->Objection = ObjectionToSettings;
    framework::RegisterFileType(pText);
    pDv = MakeType("dv", "????", "????");
}

} // namespace FileTypes

void _InitFileTypes()
{
    FileTypes::_Initialize();
}

} // namespace velmora
