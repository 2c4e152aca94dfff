// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/AddressSpace.h"
#include "platform/memory/ResultCodes.h"

#include <cstdint>
#include <span>

namespace platform {

/// A relocatable block: the address of a 4-byte cell that holds the address of the data. 0 is none.
/// The data moves when the handle is resized; the handle itself does not.
using Handle = int32_t;

/// Creates a handle of `size` bytes with undefined content; 0 if memory is full or the size is negative.
/// The caller disposes it with `DisposeHandle`.
Handle NewHandle(int32_t size);

/// The same with every byte zero.
Handle NewHandleClear(int32_t size);

/// Disposes a handle. 0 and invalid handles are ignored.
void DisposeHandle(Handle handle);

/// Size of the handle's data in bytes; 0 for an invalid handle.
int32_t GetHandleSize(Handle handle);

/// Changes the size and keeps the data; new bytes are zero. `nilHandleErr` for an invalid handle; `memFullErr` if
/// memory is full, and the handle is unchanged.
Result SetHandleSize(Handle handle, int32_t size);

/// Copies `size` bytes; the areas may overlap. Does nothing if `size` is below 1 or one of the areas is not within an
/// allocated block.
void BlockMove(Address source, Address target, int32_t size);

/// The handle's data, valid until the handle is resized or disposed; empty for an invalid handle.
std::span<uint8_t> HandleBytes(Handle handle);

/// Replaces the handle's data with a copy of `bytes`. Results as `SetHandleSize`.
Result SetHandleBytes(Handle handle, std::span<const uint8_t> bytes);

} // namespace platform
