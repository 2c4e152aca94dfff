// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/AddressSpace.h"
#include "platform/memory/ResultCodes.h"

#include <cstdint>
#include <span>

namespace platform {

/// A relocatable block: the address of a 4-byte cell that holds the address of the data. 0 is none.
/// The data moves when the handle grows; the handle itself stays.
using Handle = int32_t;

/// A handle of `size` bytes whose content is undefined; 0 without memory or for a negative size.
/// The caller gives it back with `DisposeHandle`.
Handle NewHandle(int32_t size);

/// The same with every byte zero.
Handle NewHandleClear(int32_t size);

/// Gives a handle back. 0 and numbers that are no living handle are ignored.
void DisposeHandle(Handle handle);

/// Size of the handle's data in bytes; 0 for 0 and for numbers that are no living handle.
int32_t GetHandleSize(Handle handle);

/// Changes the size, keeping what fits; grown bytes are zero. `nilHandleErr` for a dead handle, `memFullErr`
/// without memory: the handle then stays as it was.
Result SetHandleSize(Handle handle, int32_t size);

/// Copies `size` bytes between two addresses; the areas may overlap. Nothing is copied unless both lie within
/// living blocks with so many bytes, or when `size` is below 1.
void BlockMove(Address source, Address target, int32_t size);

/// The handle's data; empty for a dead handle. Valid until the handle is resized or disposed.
std::span<uint8_t> HandleBytes(Handle handle);

/// Makes the handle's data a copy of `bytes`. Results as `SetHandleSize`.
Result SetHandleBytes(Handle handle, std::span<const uint8_t> bytes);

} // namespace platform
