// SPDX-License-Identifier: MIT
#include "platform/digitizer/VideoDigitizer.h"

#include "platform/compression/FrameCompressor.h"
#include "platform/memory/Handles.h"

namespace platform {
namespace {

Component DigitizerComponent()
{
    static const Component component = RegisterComponent({.type = CodeOf("vdig")}, "Video Digitizer", [] {
        return std::make_shared<DigitizerInstance>(std::shared_ptr<Digitizer>(OpenDigitizer()));
    });
    return component;
}

// Reads as -1 in signed bits: callers then show the control as not supported.
constexpr uint16_t kNoSuchControl = 0xFFFF;

// A write takes the address of 16 bits as well, and the device's value replaces the requested one there.
Result GetAnalog(ComponentInstance digitizer, AnalogControl control, Address address)
{
    const auto instance = FindInstance<DigitizerInstance>(digitizer);
    if (!instance)
        return badComponentInstance;
    if (BytesAt(address, sizeof(uint16_t)).empty())
        return paramErr;
    uint16_t value = 0;
    const Result result = instance->device->GetAnalog(control, value);
    if (result != noErr && result != digiUnimpErr)
        return result;
    Poke(address, result == noErr ? value : kNoSuchControl);
    return noErr;
}

Result SetAnalog(ComponentInstance digitizer, AnalogControl control, Address address)
{
    const auto instance = FindInstance<DigitizerInstance>(digitizer);
    if (!instance)
        return badComponentInstance;
    if (BytesAt(address, sizeof(uint16_t)).empty())
        return paramErr;
    const Result result = instance->device->SetAnalog(control, Peek<uint16_t>(address));
    uint16_t taken = 0;
    if (result == noErr && instance->device->GetAnalog(control, taken) == noErr)
        Poke(address, taken);
    return result;
}

} // namespace

Result VDGetImageDescription(ComponentInstance digitizer, int32_t handle)
{
    const auto instance = FindInstance<DigitizerInstance>(digitizer);
    if (!instance)
        return badComponentInstance;
    const CaptureFormat format = instance->device->Format();
    return SetHandleBytes(handle, RecordOf(DescriptionOfPassThrough(format.format, format.width, format.height)));
}

Result VDGetBrightness(ComponentInstance digitizer, Address value)
{
    return GetAnalog(digitizer, AnalogControl::Brightness, value);
}

Result VDSetBrightness(ComponentInstance digitizer, Address value)
{
    return SetAnalog(digitizer, AnalogControl::Brightness, value);
}

Result VDGetHue(ComponentInstance digitizer, Address value)
{
    return GetAnalog(digitizer, AnalogControl::Hue, value);
}

Result VDSetHue(ComponentInstance digitizer, Address value)
{
    return SetAnalog(digitizer, AnalogControl::Hue, value);
}

Result VDGetContrast(ComponentInstance digitizer, Address value)
{
    return GetAnalog(digitizer, AnalogControl::Contrast, value);
}

Result VDSetContrast(ComponentInstance digitizer, Address value)
{
    return SetAnalog(digitizer, AnalogControl::Contrast, value);
}

Result VDGetSaturation(ComponentInstance digitizer, Address value)
{
    return GetAnalog(digitizer, AnalogControl::Saturation, value);
}

Result VDSetSaturation(ComponentInstance digitizer, Address value)
{
    return SetAnalog(digitizer, AnalogControl::Saturation, value);
}

Result VDGetSharpness(ComponentInstance digitizer, Address value)
{
    return GetAnalog(digitizer, AnalogControl::Sharpness, value);
}

Result VDSetSharpness(ComponentInstance digitizer, Address value)
{
    return SetAnalog(digitizer, AnalogControl::Sharpness, value);
}

Result VDGetWhiteLevelValue(ComponentInstance digitizer, Address value)
{
    return GetAnalog(digitizer, AnalogControl::WhiteLevel, value);
}

Result VDSetWhiteLevelValue(ComponentInstance digitizer, Address value)
{
    return SetAnalog(digitizer, AnalogControl::WhiteLevel, value);
}

ComponentInstance OpenDigitizerInstance(std::shared_ptr<Digitizer> device)
{
    return OpenInstance(DigitizerComponent(), std::make_shared<DigitizerInstance>(std::move(device)));
}

} // namespace platform
