// SPDX-License-Identifier: MIT
#pragma once

#include "framework/FolderItem.h"
#include "framework/Reference.h"

namespace velmora {

/// The file types that the application registers by name.
namespace FileTypes {

extern framework::Reference<framework::FileType> pText; ///< settings files
extern framework::Reference<framework::FileType> pDv;   ///< part of the set, but not used

/// Creates both objects.
void _Initialize();

} // namespace FileTypes

/// Calls `FileTypes::_Initialize` in the start sequence.
void _InitFileTypes();

} // namespace velmora
