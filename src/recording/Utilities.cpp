// SPDX-License-Identifier: MIT
#include "recording/Utilities.h"

#include "framework/Application.h"
#include "framework/LazyFunction.h"
#include "platform/memory/Handles.h"

#include <limits>

namespace velmora::Utilities {
namespace {

using framework::LazyFunction;
using framework::MemoryBlock;
using framework::Reference;
using framework::String;

constexpr const char* kCarbon = "/System/Library/Frameworks/Carbon.framework/Carbon";
const LazyFunction<int32_t(int32_t)> lazyNewHandleClear(kCarbon, "NewHandleClear");
const LazyFunction<void(int32_t)> lazyDisposeHandle(kCarbon, "DisposeHandle");

constexpr int32_t kNameField = 64;

} // namespace

std::function<void(const String& text)> displayHook;

void Display(const String& text)
{
    if (displayHook)
        displayHook(text);
}

void Trace(const String& label, int32_t value)
{
    Display(label + framework::Format(value, "-#"));
}

int32_t newclearhandle()
{
    return lazyNewHandleClear(0);
}

void DisposeHandle(int32_t handle)
{
    lazyDisposeHandle(handle);
}

int32_t int2fixed(int32_t value)
{
    return static_cast<int32_t>(int64_t{value} * 65536);
}

int32_t fixed2int(uint32_t value)
{
    return double2int(value / 65535.0);
}

int32_t double2int(double value)
{
    constexpr int32_t lowest = std::numeric_limits<int32_t>::min();
    return value > lowest - 1.0 && value < 2147483648.0 ? static_cast<int32_t>(value) : lowest;
}

int32_t memoryblocktohandle(const Reference<MemoryBlock>& block, int32_t size)
{
    if (!block) {
        framework::MsgBox("err: dim m");
        return 0;
    }
    if (size < 1) {
        framework::MsgBox("err: size <1");
        return 0;
    }
    const int32_t handle = platform::NewHandleClear(size);
    if (platform::GetHandleSize(handle) != size) {
        framework::MsgBox("mynamehandle < 1");
        return 0;
    }
    platform::BlockMove(block->Pointer(), MemoryBlock::At(handle)->Long(0), size);
    return handle;
}

String SGDeviceName::name() const
{
    return record->StringValue(0, kNameField);
}

Reference<MemoryBlock> SGDeviceName::inputs() const
{
    const Reference<MemoryBlock> handle = record->Ptr(76);
    return handle ? handle->Ptr(0) : nullptr;
}

String SGDeviceInputName::name() const
{
    return record->StringValue(0, kNameField);
}

} // namespace velmora::Utilities
