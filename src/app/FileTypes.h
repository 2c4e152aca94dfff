// SPDX-License-Identifier: MIT
#pragma once

#include "framework/FolderItem.h"
#include "framework/Reference.h"

namespace velmora {

/// The kinds of file that the application knows by name.
namespace FileTypes {

extern framework::Reference<framework::FileType> pText; ///< settings files
extern framework::Reference<framework::FileType> pDv;   ///< part of the set, used by nothing

/// Makes both objects.
void _Initialize();

} // namespace FileTypes

/// The start sequence's call of `FileTypes::_Initialize`.
void _InitFileTypes();

} // namespace velmora
