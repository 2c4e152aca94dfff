// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/AddressSpace.h"
#include "platform/memory/FourCharCode.h"
#include "platform/memory/Handles.h"

namespace platform {

/// A reference to an ordered list of items, each with a type and bytes; several may have the same type.
using UserData = int32_t;

/// Creates an empty list and writes its reference as 32 bits at `userData`. The caller disposes it.
Result NewUserData(Address userData);
/// Disposes a list with all its items. `paramErr` for an invalid reference.
Result DisposeUserData(UserData userData);

/// Creates a list from the flattened form in `handle` and writes its reference as 32 bits at `userData`. The caller
/// disposes it. For other bytes writes 0 and returns `paramErr`.
Result NewUserDataFromHandle(Handle handle, Address userData);

/// Writes the flattened form (see `TaggedItems`) into `handle`, which is resized.
Result PutUserDataIntoHandle(UserData userData, Handle handle);

/// Appends an item of that type with a copy of the bytes in `data`.
Result AddUserData(UserData userData, Handle data, FourCharCode type);

/// Copies item `index` (from 1) of that type into `data`, which is resized. `userDataItemNotFound` if there is none.
Result GetUserData(UserData userData, Handle data, FourCharCode type, int32_t index);

} // namespace platform
