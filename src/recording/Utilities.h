// SPDX-License-Identifier: MIT
#pragma once

#include "framework/MemoryBlock.h"
#include "framework/Reference.h"
#include "framework/String.h"

#include <cstdint>
#include <functional>

namespace velmora::Utilities {

/// Traces a text. All traces go through here; the text is dropped unless `displayHook` is set.
void Display(const framework::String& text);
extern std::function<void(const framework::String& text)> displayHook;

/// Traces a label followed by a signed number without digit grouping.
void Trace(const framework::String& label, int32_t value);

/// A new empty handle that the platform resizes. The caller disposes it.
int32_t newclearhandle();

/// Disposes a handle.
void DisposeHandle(int32_t handle);

/// Converts an integer to 16.16 fixed point; bits above the lower 16 are lost.
int32_t int2fixed(int32_t value);

/// Converts unsigned 16.16 fixed point to an integer. Divides by 65535, which is exact after truncation below 65535.
int32_t fixed2int(uint32_t value);

/// Truncates to an integer. Numbers outside of 32 bits, and NaN, give INT32_MIN, as the processor's own conversion
/// does.
int32_t double2int(double value);

/// A new handle with a copy of the first `size` bytes of `block`; the caller disposes it. For a nil block, a size below
/// 1 or when memory is full, shows a message box and returns 0.
int32_t memoryblocktohandle(const framework::Reference<framework::MemoryBlock>& block, int32_t size);

/// A copy of a device's 80-byte record from one of the platform's device lists.
struct SGDeviceName {
    framework::Reference<framework::MemoryBlock> record;
    framework::String name() const;                              ///< the whole 64-byte field, length byte first
    framework::Reference<framework::MemoryBlock> inputs() const; ///< the list of inputs, nil if there is none
};

/// A copy of an input's 76-byte record from a device's list of inputs.
struct SGDeviceInputName {
    framework::Reference<framework::MemoryBlock> record;
    framework::String name() const; ///< the whole 64-byte field, length byte first
};

} // namespace velmora::Utilities
