// SPDX-License-Identifier: MIT
#include "app/FileTypes.h"

#include "app/SettingsFile.h"

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

} // namespace

void _Initialize()
{
    pText = MakeType("text", "TEXT", "R*ch");
    pText->Description = "Velmora settings";
    pText->Objection = ObjectionToSettingsFile;
    framework::RegisterFileType(pText);
    pDv = MakeType("dv", "????", "????");
}

} // namespace FileTypes

void _InitFileTypes()
{
    FileTypes::_Initialize();
}

} // namespace velmora
