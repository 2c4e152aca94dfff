// SPDX-License-Identifier: MIT
#include "platform/grabber/DeviceLists.h"

#include "platform/memory/PascalString.h"

#include <algorithm>
#include <set>

namespace platform {
namespace {

constexpr int32_t kListHeadSize = 8;
constexpr int32_t kDeviceSize = 80;
constexpr int32_t kInputSize = 76;
constexpr size_t kMaxListedName = 63;
constexpr size_t kFlagsOffset = 68;
constexpr size_t kInputsOffset = 76;
constexpr int32_t kUnavailable = 1;
constexpr const char* kNameless = "Unnamed Device";

template <typename T> void PutAt(std::span<uint8_t> bytes, size_t offset, T value)
{
    __builtin_memcpy(bytes.data() + offset, &value, sizeof value);
}

template <typename T> T ValueAt(std::span<const uint8_t> bytes, size_t offset)
{
    T value;
    __builtin_memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

std::span<uint8_t> BeginList(Handle list, size_t count, int selected)
{
    const auto bytes = HandleBytes(list);
    PutAt(bytes, 0, static_cast<int16_t>(count));
    PutAt(bytes, 2, static_cast<int16_t>(selected));
    return bytes.subspan(kListHeadSize);
}

Handle MakeInputList(const std::vector<std::string>& inputs, int selected)
{
    if (inputs.empty())
        return 0;
    const Handle list = NewHandleClear(kListHeadSize + kInputSize * static_cast<int32_t>(inputs.size()));
    auto entry = list == 0 ? std::span<uint8_t>() : BeginList(list, inputs.size(), selected);
    for (const std::string& input : inputs) {
        if (entry.empty())
            break;
        std::ranges::copy(PascalString(input, kMaxListedName), entry.begin());
        entry = entry.subspan(kInputSize);
    }
    return list;
}

// Names are made distinct within the length that a list can hold, so that two long ones differ there too.
std::string ListedName(const std::string& name, int number)
{
    const std::string mark = number == 1 ? "" : " (" + std::to_string(number) + ")";
    const auto fitting = PascalString(name, kMaxListedName - mark.size());
    return std::string(fitting.begin() + 1, fitting.end()) + mark;
}

} // namespace

void MakeNamesDistinct(std::vector<ListedDevice>& devices)
{
    std::set<std::string> taken;
    for (ListedDevice& device : devices) {
        const std::string own = device.name.empty() ? kNameless : device.name;
        int number = 1;
        while (!taken.insert(ListedName(own, number)).second)
            ++number;
        device.name = number == 1 ? own : ListedName(own, number);
    }
}

Handle MakeDeviceList(const Channel& channel, bool withInputs)
{
    auto devices = channel.Devices();
    devices.resize(std::min<size_t>(devices.size(), INT16_MAX));
    const ListedDevice present = channel.Device();
    const auto selected = std::ranges::find(devices, present.identity, &ListedDevice::identity);
    const Handle list = NewHandleClear(kListHeadSize + kDeviceSize * static_cast<int32_t>(devices.size()));
    if (list == 0)
        return 0;
    // A device in use that has gone is not in the list.
    auto entry =
        BeginList(list, devices.size(), selected == devices.end() ? -1 : static_cast<int>(selected - devices.begin()));
    for (auto device = devices.begin(); device != devices.end(); ++device) {
        std::ranges::copy(PascalString(device->name, kMaxListedName), entry.begin());
        PutAt(entry, kFlagsOffset, device->available ? 0 : kUnavailable);
        if (withInputs)
            PutAt(entry, kInputsOffset, MakeInputList(device->inputs, device == selected ? present.input : 0));
        entry = entry.subspan(kDeviceSize);
    }
    return list;
}

void FreeDeviceList(Handle list)
{
    const auto bytes = HandleBytes(list);
    for (size_t entry = kListHeadSize; entry + kDeviceSize <= bytes.size(); entry += kDeviceSize)
        DisposeHandle(ValueAt<Handle>(bytes, entry + kInputsOffset));
    DisposeHandle(list);
}

std::optional<ListedDevice> FindListedDevice(const Channel& channel, const std::string& name)
{
    // Callers know a long name only as the list shows it.
    const auto isNamed = [&](const ListedDevice& device) {
        return device.name == name || PascalString(device.name, kMaxListedName) == PascalString(name);
    };
    const auto devices = channel.Devices();
    const auto device = std::ranges::find_if(devices, isNamed);
    return device == devices.end() ? std::nullopt : std::optional(*device);
}

} // namespace platform
