// SPDX-License-Identifier: MIT
// The published calls on device lists and on a channel's device.
#include "platform/grabber/DeviceLists.h"
#include "platform/grabber/Session.h"
#include "platform/memory/PascalString.h"

#include <algorithm>

namespace platform {
namespace {

constexpr int32_t kListInputs = 4;
// Callers provide 255 bytes for a name, including its length byte.
constexpr size_t kMaxNameLength = 254;

Result PutPascalString(Address place, const std::string& text)
{
    const int64_t space = BytesFrom(place);
    if (place == 0)
        return noErr;
    if (space < 1)
        return paramErr;
    const auto bytes = PascalString(text, std::min(kMaxNameLength, static_cast<size_t>(space - 1)));
    std::ranges::copy(bytes, BytesAt(place, static_cast<int64_t>(bytes.size())).begin());
    return noErr;
}

// The device in use, by its distinct name in the list.
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
    const auto device = FindListedDevice(*found, std::string(text.begin() + 1, text.end()));
    return device ? found->TakeDevice(*device) : noDeviceForChannel;
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
