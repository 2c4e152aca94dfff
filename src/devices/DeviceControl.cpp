// SPDX-License-Identifier: MIT
// Commands to a DV camcorder or deck: AV/C frames of four bytes.
//
// No state is kept between commands. Each command opens the isochronous data handler, takes the first device with a
// video mode, configures the handler for it, sends the frame and closes the handler, so devices may join or leave the
// bus at any time. Whether the device carried out a command is not checked.
#include "capture/VelmoraCanvas.h"

#include "framework/Application.h"
#include "platform/atoms/AtomContainers.h"
#include "platform/components/Components.h"
#include "platform/dv/DeckCommands.h"
#include "platform/dv/IsochronousDataHandler.h"

namespace velmora {

using framework::New;
using framework::StringToOSType;

namespace {

constexpr int32_t kRoot = 0;
constexpr int32_t kResponseSize = 16;

// What the tape is doing, in the response to a status frame.
constexpr int32_t kModeLoading = 0xC1;
constexpr int32_t kModeRecording = 0xC2;
constexpr int32_t kModePlaying = 0xC3;
constexpr int32_t kModeWinding = 0xC4;

int32_t FindHandlerComponent()
{
    MemoryBlock description(20);
    description.Long(0, VelmoraCanvas::OSTypeToLong("ihlr"));
    description.Long(4, VelmoraCanvas::OSTypeToLong("dv  "));
    return platform::FindNextComponent(0, description.Pointer());
}

void FillFrame(MemoryBlock& frame, int32_t ctype, int32_t subunit, int32_t opcode, int32_t operand)
{
    frame.Byte(0, ctype);
    frame.Byte(1, subunit);
    frame.Byte(2, opcode);
    frame.Byte(3, operand);
}

// Sends the frame; the response goes into a zeroed block of 16 bytes.
int32_t Transact(int32_t deviceControl, const MemoryBlock& frame, const MemoryBlock& response)
{
    MemoryBlock parameters(20);
    parameters.Long(0, frame.Pointer());
    parameters.Long(4, 4);
    parameters.Long(8, response.Pointer());
    parameters.Long(12, kResponseSize);
    parameters.Long(16, 0);
    return platform::DeviceControlDoAVCTransaction(deviceControl, parameters.Pointer());
}

void Operate(VelmoraCanvas& canvas, const platform::DeckOperation& operation)
{
    const auto [ctype, subunit, opcode, operand] = platform::CommandFrame(operation);
    canvas.DeviceControlAVCCommand(ctype, subunit, opcode, operand);
}

} // namespace

void VelmoraCanvas::DeviceControlPlay()
{
    Operate(*this, platform::kDeckPlay);
}

void VelmoraCanvas::DeviceControlFreeze()
{
    Operate(*this, platform::kDeckPause);
}

void VelmoraCanvas::DeviceControlNextFrame()
{
    Operate(*this, platform::kDeckNextFrame);
}

void VelmoraCanvas::DeviceControlPreviousFrame()
{
    Operate(*this, platform::kDeckPreviousFrame);
}

void VelmoraCanvas::DeviceControlSlowForward()
{
    Operate(*this, platform::kDeckSlowForward);
}

void VelmoraCanvas::DeviceControlSlowReverse()
{
    Operate(*this, platform::kDeckSlowReverse);
}

void VelmoraCanvas::DeviceControlFastForwardPlay()
{
    Operate(*this, platform::kDeckFastForwardPlay);
}

void VelmoraCanvas::DeviceControlRewindPlay()
{
    Operate(*this, platform::kDeckRewindPlay);
}

void VelmoraCanvas::DeviceControlFastForward()
{
    Operate(*this, platform::kDeckFastForward);
}

void VelmoraCanvas::DeviceControlRewind()
{
    Operate(*this, platform::kDeckRewind);
}

void VelmoraCanvas::DeviceControlStop()
{
    Operate(*this, platform::kDeckStop);
}

void VelmoraCanvas::DeviceControlRecord()
{
    Operate(*this, platform::kDeckRecord);
}

void VelmoraCanvas::DeviceControlAVCCommand(int32_t ctype, int32_t subunit, int32_t opcode, int32_t operand)
{
    const MemoryBlock instance(4);
    if (const int32_t result = platform::OpenAComponent(FindHandlerComponent(), instance.Pointer()); result != 0) {
        RaiseError(result);
    } else {
        MemoryBlock frame(4);
        FillFrame(frame, ctype, subunit, opcode, operand);
        SendToVideoDevice(instance.Long(0), frame);
    }
    platform::CloseComponent(instance.Long(0));
}

// Finds the device, configures the handler for it and sends the frame, even if the configuration fails.
void VelmoraCanvas::SendToVideoDevice(int32_t instance, const MemoryBlock& frame)
{
    const MemoryBlock container(4);
    const int32_t result = platform::IDHGetDeviceList(instance, container.Pointer());
    if (result != 0) {
        RaiseError(result);
        return;
    }
    const int16_t devices = platform::QTCountChildrenOfType(container.Long(0), kRoot, StringToOSType("devc"));
    if (devices == 0) {
        RaiseError(result); // raises the event with code 0
        return;
    }
    const int32_t mode = FindVideoMode(container.Long(0), devices);
    if (mode == 0)
        return;

    MemoryBlock configuration(8);
    configuration.Long(0, container.Long(0));
    configuration.Long(4, mode);
    RaiseFailure(platform::IDHSetDeviceConfiguration(instance, configuration.Pointer()));
    const MemoryBlock deviceControl(4);
    RaiseFailure(platform::IDHGetDeviceControl(instance, deviceControl.Pointer()));
    Transact(deviceControl.Long(0), frame, MemoryBlock(kResponseSize));
}

// The first video mode of the first device that has one; 0 if none has.
int32_t VelmoraCanvas::FindVideoMode(int32_t container, int16_t devices)
{
    for (int16_t i = 1; i <= devices; ++i) {
        framework::YieldToBackground();
        const int32_t device = platform::QTFindChildByIndex(container, kRoot, StringToOSType("devc"), i, 0);
        const int32_t isoc =
            device == 0 ? 0 : platform::QTFindChildByIndex(container, device, StringToOSType("isoc"), 1, 0);
        if (isoc == 0)
            continue;
        const int16_t modes = platform::QTCountChildrenOfType(container, isoc, StringToOSType("mode"));
        for (int16_t j = 1; j <= modes; ++j) {
            framework::YieldToBackground();
            const int32_t mode = platform::QTFindChildByIndex(container, isoc, StringToOSType("mode"), j, 0);
            if (mode != 0 && IsVideoMode(container, mode))
                return mode;
        }
    }
    return 0;
}

// Whether the media type of a mode is video. Raises `Error` if the type cannot be read.
bool VelmoraCanvas::IsVideoMode(int32_t container, int32_t mode)
{
    const int32_t mediaType = platform::QTFindChildByIndex(container, mode, StringToOSType("av  "), 1, 0);
    if (mediaType == 0)
        return false;
    platform::QTLockContainer(container);
    const MemoryBlock type(4);
    const MemoryBlock size(4);
    RaiseFailure(platform::QTCopyAtomDataToPtr(container, mediaType, 1, 4, type.Pointer(), size.Pointer()));
    platform::QTUnlockContainer(container);
    return type.Long(0) == OSTypeToLong("vide");
}

// Always raises `NilObjectException`: `instance` stays nil because the handler is never opened.
Reference<MemoryBlock> VelmoraCanvas::DeviceControlAVCQuery(int32_t ctype, int32_t subunit, int32_t opcode,
                                                            int32_t operand)
{
    MemoryBlock frame(4);
    FillFrame(frame, ctype, subunit, opcode, operand);
    auto response = New<MemoryBlock>(kResponseSize);
    const Reference<MemoryBlock> instance;
    const MemoryBlock deviceControl(4);
    platform::IDHGetDeviceControl(instance->Long(0), deviceControl.Pointer());
    return Transact(deviceControl.Long(0), frame, *response) != 0 ? nullptr : response;
}

bool VelmoraCanvas::DeviceIsLoading()
{
    return IsTransportMode(kModeLoading);
}

bool VelmoraCanvas::DeviceIsPlaying()
{
    return IsTransportMode(kModePlaying);
}

bool VelmoraCanvas::DeviceIsRecording()
{
    return IsTransportMode(kModeRecording);
}

bool VelmoraCanvas::DeviceIsWinding()
{
    return IsTransportMode(kModeWinding);
}

bool VelmoraCanvas::IsTransportMode(int32_t mode)
{
    using enum platform::AvcResponse;
    const auto [ctype, subunit, opcode, operand] = platform::kTransportStateInquiry;
    const Reference<MemoryBlock> response = DeviceControlAVCQuery(ctype, subunit, opcode, operand);
    const auto code = static_cast<platform::AvcResponse>(response->Byte(0));
    return (code == Stable || code == InTransition) && response->Byte(2) == mode;
}

} // namespace velmora
