// SPDX-License-Identifier: MIT
#include "platform/grabber/DeviceLists.h"

#include "platform/grabber/Session.h"
#include "platform/memory/PascalString.h"

#include <algorithm>
#include <set>

namespace platform {
namespace {

constexpr int32_t kListHeadSize = 8;
constexpr int32_t kDeviceSize = 80;
constexpr int32_t kInputSize = 76;
constexpr size_t kLongestListedName = 63;
constexpr size_t kFlagsOffset = 68;
constexpr size_t kInputsOffset = 76;
constexpr int32_t kUnavailable = 1;
constexpr int32_t kListInputs = 4;
// Callers give 255 bytes of room for a name, its length byte among them.
constexpr size_t kLongestName = 254;
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
        std::ranges::copy(PascalString(input, kLongestListedName), entry.begin());
        entry = entry.subspan(kInputSize);
    }
    return list;
}

Result PutPascalString(Address place, const std::string& text)
{
    const int64_t room = BytesFrom(place);
    if (place == 0)
        return noErr;
    if (room < 1)
        return paramErr;
    const auto bytes = PascalString(text, std::min(kLongestName, static_cast<size_t>(room - 1)));
    std::ranges::copy(bytes, BytesAt(place, static_cast<int64_t>(bytes.size())).begin());
    return noErr;
}

// Names are made distinct within what a list has room for, so that two long ones differ there too.
std::string ListedName(const std::string& name, int number)
{
    const std::string mark = number == 1 ? "" : " (" + std::to_string(number) + ")";
    const auto fitting = PascalString(name, kLongestListedName - mark.size());
    return std::string(fitting.begin() + 1, fitting.end()) + mark;
}

// The device in use under its distinct name in the list.
ListedDevice DeviceAsListed(const Channel& channel)
{
    ListedDevice present = channel.Device();
    const auto devices = channel.Devices();
    const auto listed = std::ranges::find(devices, present.identity, &ListedDevice::identity);
    if (listed != devices.end())
        present.name = listed->name;
    return present;
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
    // A device in use that has gone is none of the list.
    auto entry =
        BeginList(list, devices.size(), selected == devices.end() ? -1 : static_cast<int>(selected - devices.begin()));
    for (auto device = devices.begin(); device != devices.end(); ++device) {
        std::ranges::copy(PascalString(device->name, kLongestListedName), entry.begin());
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

Result Session::DisposeDeviceList(Handle list)
{
    if (std::erase(deviceLists, list) == 0)
        return paramErr;
    FreeDeviceList(list);
    return noErr;
}

Result SGGetChannelDeviceList(SGChannel channel, int32_t flags, Address list)
{
    if (!Poke<Handle>(list, 0))
        return paramErr;
    const auto found = FindChannel(channel);
    if (!found)
        return badSGChannel;
    const Handle made = MakeDeviceList(*found, (flags & kListInputs) != 0);
    if (made == 0)
        return memFullErr;
    found->owner->AddDeviceList(made);
    Poke(list, made);
    return noErr;
}

Result SGDisposeDeviceList(SGComponent session, int32_t list)
{
    const auto found = FindSession(session);
    return found ? found->DisposeDeviceList(list) : badComponentInstance;
}

Result SGSetChannelDevice(SGChannel channel, Address name)
{
    const auto found = FindChannel(channel);
    if (!found)
        return badSGChannel;
    const auto length = Peek<uint8_t>(name);
    const auto text = BytesAt(name, length + 1);
    if (text.empty())
        return paramErr;
    const std::string wanted(text.begin() + 1, text.end());
    // A caller knows a long name as the list shows it.
    const auto isWanted = [&](const ListedDevice& device) {
        const auto listed = PascalString(device.name, kLongestListedName);
        return device.name == wanted || std::equal(listed.begin(), listed.end(), text.begin(), text.end());
    };
    const auto devices = found->Devices();
    const auto device = std::ranges::find_if(devices, isWanted);
    return device == devices.end() ? noDeviceForChannel : found->TakeDevice(*device);
}

Result SGGetChannelDeviceAndInputNames(SGChannel channel, Address device, Address input, Address inputNumber)
{
    const auto found = FindChannel(channel);
    if (!found)
        return badSGChannel;
    const ListedDevice present = DeviceAsListed(*found);
    const bool known = present.input >= 0 && static_cast<size_t>(present.input) < present.inputs.size();
    const Result first = PutPascalString(device, present.name);
    const Result second =
        PutPascalString(input, known ? present.inputs[static_cast<size_t>(present.input)] : std::string());
    if (inputNumber != 0 && !Poke(inputNumber, static_cast<int16_t>(present.input)))
        return paramErr;
    return first != noErr ? first : second;
}

} // namespace platform
