// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/AddressSpace.h"
#include "platform/memory/FourCharCode.h"
#include "platform/memory/Handles.h"

namespace platform {

/// An ordered list of items, each a type and bytes; several may have one type.
using UserData = int32_t;

/// Makes an empty list and writes its reference to `userData`. The caller disposes of it.
Result NewUserData(Address userData);
/// Disposes of a list with all its items.
Result DisposeUserData(UserData userData);

/// Reads the flattened form out of a handle and writes the new number as 32 bits. `paramErr`, and 0 written, for bytes
/// that are no such form.
Result NewUserDataFromHandle(Handle handle, Address userData);

/// Writes the flattened form into a handle: the same bytes for the same items on every machine.
Result PutUserDataIntoHandle(UserData userData, Handle handle);

/// Adds the bytes of a handle as a further item of that type.
Result AddUserData(UserData userData, Handle data, FourCharCode type);

/// Fills the handle with item `index` (from 1) of that type; `userDataItemNotFound` when there is none.
Result GetUserData(UserData userData, Handle data, FourCharCode type, int32_t index);

} // namespace platform
