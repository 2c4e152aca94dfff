// SPDX-License-Identifier: MIT
#include "platform/memory/Handles.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <unordered_set>

namespace platform {
namespace {

std::mutex& HandlesMutex()
{
    static auto* mutex = new std::mutex;
    return *mutex;
}

// All valid handles, to tell them from any other number.
std::unordered_set<Handle>& ValidHandles()
{
    static auto* handles = new std::unordered_set<Handle>;
    return *handles;
}

bool IsValid(Handle handle)
{
    const std::lock_guard lock(HandlesMutex());
    return ValidHandles().contains(handle);
}

Address DataOf(Handle handle)
{
    return *PointerAt<Address>(handle);
}

} // namespace

Handle NewHandle(int32_t size)
{
    return NewHandleClear(size);
}

Handle NewHandleClear(int32_t size)
{
    OwnedBlock data(size);
    OwnedBlock cell(sizeof(Address));
    if (data.Get() == 0 || cell.Get() == 0)
        return 0;
    Poke(cell.Get(), data.Release());
    const std::lock_guard lock(HandlesMutex());
    ValidHandles().insert(cell.Get());
    return cell.Release();
}

void DisposeHandle(Handle handle)
{
    {
        const std::lock_guard lock(HandlesMutex());
        if (ValidHandles().erase(handle) == 0)
            return;
    }
    FreeBlock(DataOf(handle));
    FreeBlock(handle);
}

int32_t GetHandleSize(Handle handle)
{
    return IsValid(handle) ? static_cast<int32_t>(BlockSize(DataOf(handle))) : 0;
}

Result SetHandleSize(Handle handle, int32_t size)
{
    if (!IsValid(handle))
        return nilHandleErr;
    OwnedBlock grown(size);
    if (grown.Get() == 0)
        return memFullErr;
    const auto old = HandleBytes(handle);
    std::memcpy(PointerAt(grown.Get()), old.data(), std::min(old.size(), static_cast<size_t>(size)));
    FreeBlock(DataOf(handle));
    Poke(handle, grown.Release());
    return noErr;
}

void BlockMove(Address source, Address target, int32_t size)
{
    const auto from = BytesAt(source, size);
    const auto to = BytesAt(target, size);
    if (!from.empty() && !to.empty())
        std::memmove(to.data(), from.data(), from.size());
}

std::span<uint8_t> HandleBytes(Handle handle)
{
    if (!IsValid(handle))
        return {};
    const Address data = DataOf(handle);
    return {PointerAt<uint8_t>(data), static_cast<size_t>(BlockSize(data))};
}

Result SetHandleBytes(Handle handle, std::span<const uint8_t> bytes)
{
    if (const Result result = SetHandleSize(handle, static_cast<int32_t>(bytes.size())); result != noErr)
        return result;
    std::ranges::copy(bytes, HandleBytes(handle).begin());
    return noErr;
}

} // namespace platform
