// SPDX-License-Identifier: MIT
// The devices that the two channels can use, and those in use. Nothing is cached. In the windows a channel's device is
// changed by the settings dialog or by restored settings; the terminal program selects devices by name.
//
// Each call fetches a new list from the channel. The previous list is dropped without being disposed; only the last one
// is disposed, when the control is destroyed.
#include "capture/VelmoraCanvas.h"

#include "devices/SoundDriver.h"
#include "framework/Application.h"
#include "recording/Utilities.h"

#include <algorithm>
#include <limits>

namespace velmora {

using framework::New;

namespace {

constexpr int32_t kWithInputs = 4; // flag of a list
constexpr int32_t kDevicesOnly = 0;

// Records of the lists.
constexpr int32_t kCount = 0;
constexpr int32_t kSelected = 2;
constexpr int32_t kFirstEntry = 8;
constexpr int32_t kDeviceSize = 80;
constexpr int32_t kInputSize = 76;
constexpr int32_t kFlags = 68; // of a device
constexpr int32_t kUnavailable = 1;

int32_t FetchList(Reference<MemoryBlock>& list, int32_t channel, int32_t flags)
{
    list = New<MemoryBlock>(4);
    return platform::SGGetChannelDeviceList(channel, flags, list->Pointer());
}

// The record of a fetched list, or of any block that holds a handle.
Reference<MemoryBlock> RecordOf(const Reference<MemoryBlock>& list)
{
    return list->Ptr(0)->Ptr(0);
}

// The offset of an entry. An index outside of the list gives an offset outside of it, which the block refuses to read.
int32_t EntryOffset(int32_t index, int32_t entrySize)
{
    constexpr int64_t highest = std::numeric_limits<int32_t>::max();
    return static_cast<int32_t>(std::clamp(kFirstEntry + int64_t{index} * entrySize, -highest, highest));
}

Reference<MemoryBlock> CopyOfEntry(const MemoryBlock& list, int32_t index, int32_t entrySize)
{
    auto entry = New<MemoryBlock>(entrySize);
    entry->StringValue(0, entrySize, list.StringValue(EntryOffset(index, entrySize), entrySize));
    return entry;
}

// Cuts the unused end of a name field; the length byte stays.
String NameWithLength(const String& field)
{
    return Mid(field, 1, Asc(LeftB(field, 1)) + 1);
}

// A number from a newly fetched list, or the result code.
int32_t NumberFromList(Reference<MemoryBlock>& list, int32_t channel, int32_t flags, int32_t offset)
{
    const int32_t result = FetchList(list, channel, flags);
    return result != 0 ? result : RecordOf(list)->Short(offset);
}

String NameOfDeviceInUse(int32_t channel)
{
    const MemoryBlock device(255);
    const MemoryBlock input(255);
    const MemoryBlock inputNumber(4);
    platform::SGGetChannelDeviceAndInputNames(channel, device.Pointer(), input.Pointer(), inputNumber.Pointer());
    return device.PString(0);
}

int32_t ChooseDevice(int32_t channel, const String& name)
{
    MemoryBlock text(256);
    text.PString(0, name);
    return platform::SGSetChannelDevice(channel, text.Pointer());
}

} // namespace

int32_t VelmoraCanvas::VideoDeviceCount()
{
    return NumberFromList(theSGVideoDeviceList, sgVideoChannel, kWithInputs, kCount);
}

int32_t VelmoraCanvas::VideoDeviceSelected()
{
    return NumberFromList(theSGVideoDeviceList, sgVideoChannel, kWithInputs, kSelected);
}

int32_t VelmoraCanvas::SoundDeviceCount()
{
    return NumberFromList(theSGSoundDeviceList, sgSoundChannel, kDevicesOnly, kCount);
}

// Text of the form "name", number of inputs, " - ", input names.
String VelmoraCanvas::VideoDevice(int32_t index)
{
    if (FetchList(theSGVideoDeviceList, sgVideoChannel, kWithInputs) != 0)
        return "";
    const Utilities::SGDeviceName device{CopyOfEntry(*RecordOf(theSGVideoDeviceList), index, kDeviceSize)};
    String inputText = "";
    int32_t count = 0;
    if (const auto inputs = device.inputs()) {
        count = inputs->Short(kCount);
        for (int32_t i = 0; i < count; ++i) {
            const Utilities::SGDeviceInputName input{CopyOfEntry(*inputs, i, kInputSize)};
            inputText = inputText + " " + NameWithLength(input.name());
            framework::YieldToBackground();
        }
    }
    return NameWithLength(device.name()) + framework::Str(count) + " - " + inputText;
}

// The plain name, unlike `VideoDevice`.
String VelmoraCanvas::SoundDevice(int32_t index)
{
    if (FetchList(theSGSoundDeviceList, sgSoundChannel, kDevicesOnly) != 0)
        return "";
    return RecordOf(theSGSoundDeviceList)->PString(EntryOffset(index, kDeviceSize));
}

String VelmoraCanvas::VideoDeviceName()
{
    return NameOfDeviceInUse(sgVideoChannel);
}

String VelmoraCanvas::SoundDeviceName()
{
    return NameOfDeviceInUse(sgSoundChannel);
}

int32_t VelmoraCanvas::ChooseVideoDevice(const String& name)
{
    return ChooseDevice(sgVideoChannel, name);
}

int32_t VelmoraCanvas::ChooseSoundDevice(const String& name)
{
    return ChooseDevice(sgSoundChannel, name);
}

std::string VelmoraCanvas::VideoDeviceReason()
{
    return platform::SGGetChannelReason(sgVideoChannel);
}

std::string VelmoraCanvas::SoundDeviceReason()
{
    return platform::SGGetChannelReason(sgSoundChannel);
}

bool VelmoraCanvas::VideoDeviceAvailable(int32_t index)
{
    return DeviceAvailable(theSGVideoDeviceList, sgVideoChannel, index);
}

bool VelmoraCanvas::SoundDeviceAvailable(int32_t index)
{
    return DeviceAvailable(theSGSoundDeviceList, sgSoundChannel, index);
}

// The flags of an unavailable device are exactly 1; with further bits set it counts as available.
bool VelmoraCanvas::DeviceAvailable(Reference<MemoryBlock>& list, int32_t channel, int32_t index)
{
    if (const int32_t result = FetchList(list, channel, kDevicesOnly); result != 0) {
        RaiseError(result);
        return false;
    }
    const auto record = RecordOf(list);
    if (index < 0 || index >= record->Short(kCount))
        return false;
    return record->Long(EntryOffset(index, kDeviceSize) + kFlags) != kUnavailable;
}

// Fetches the list, but always returns 0.
int32_t VelmoraCanvas::VideoDeviceInputCount(int32_t)
{
    NumberFromList(theSGVideoDeviceList, sgVideoChannel, kWithInputs, kCount);
    return 0;
}

// Inputs are numbered from 0 here and from 1 in the driver.
int32_t VelmoraCanvas::SoundInput()
{
    const MemoryBlock input(4);
    if (const int32_t result = ReadSoundDriver(sgSoundChannel, "sour", input); result != 0) {
        RaiseError(result);
        return -1;
    }
    return input.Short(0) - 1;
}

void VelmoraCanvas::SoundInput(int32_t index)
{
    MemoryBlock input(4);
    const int32_t driver = platform::SGGetSoundInputDriver(sgSoundChannel);
    if (driver < 1)
        return;
    input.Short(0, static_cast<int32_t>(int64_t{index} + 1));
    RaiseFailure(platform::SPBSetDeviceInfo(driver, framework::StringToOSType("sour"), input.Pointer()));
}

} // namespace velmora
