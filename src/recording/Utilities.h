// SPDX-License-Identifier: MIT
#pragma once

#include "framework/MemoryBlock.h"
#include "framework/Reference.h"
#include "framework/String.h"

#include <cstdint>
#include <functional>

namespace velmora::Utilities {

/// The one trace point of the system. The text is dropped unless a hook is wired up.
void Display(const framework::String& text);
extern std::function<void(const framework::String& text)> displayHook;

/// Traces a label and a whole number behind it: signed, ungrouped.
void Trace(const framework::String& label, int32_t value);

/// A new empty handle, for the platform to grow; the caller disposes it.
int32_t newclearhandle();

/// Gives a handle back.
void DisposeHandle(int32_t handle);

/// A whole number as `Fixed`; the bits above 16 are lost.
int32_t int2fixed(int32_t value);

/// The whole number of an unsigned `Fixed`, by a divisor of 65535: exact after the cut for rates below 65535.
int32_t fixed2int(uint32_t value);

/// The whole part of a number. What has none in 32 bits (NaN too) gives the lowest number, as the processor has it.
int32_t double2int(double value);

/// A new handle with a copy of the first `size` bytes of `block`, which the caller disposes; 0, after a message box,
/// for no block, a size below 1 or no memory.
int32_t memoryblocktohandle(const framework::Reference<framework::MemoryBlock>& block, int32_t size);

/// A device in one of the platform's device lists: a copy of its record of 80 bytes.
struct SGDeviceName {
    framework::Reference<framework::MemoryBlock> record;
    framework::String name() const;                              ///< the field of 64 bytes whole, its length byte first
    framework::Reference<framework::MemoryBlock> inputs() const; ///< its list of inputs, nil when there is none
};

/// An input in a device's list of inputs: a copy of its record of 76 bytes.
struct SGDeviceInputName {
    framework::Reference<framework::MemoryBlock> record;
    framework::String name() const; ///< as above
};

} // namespace velmora::Utilities
