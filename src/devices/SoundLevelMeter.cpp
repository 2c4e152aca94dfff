// SPDX-License-Identifier: MIT
// The level meter of the sound driver. Each read is a separate driver call, so left and right are not measured at the
// same moment. No state is kept between calls. After a failure a read returns 0.
#include "capture/VelmoraCanvas.h"

#include "devices/SoundDriver.h"

namespace velmora {
namespace {

// Bytes of "lmac": the meter's levels.
constexpr int32_t kLeft = 2;
constexpr int32_t kRight = 3;

} // namespace

bool VelmoraCanvas::SoundLevelMeterActive()
{
    const MemoryBlock state(4);
    RaiseFailure(ReadSoundDriver(sgSoundChannel, "lmet", state));
    return state.Short(0) >= 1;
}

// The driver's "on" is the number of channels to measure.
void VelmoraCanvas::SoundLevelMeterActive(bool value)
{
    MemoryBlock state(4);
    const int32_t driver = platform::SGGetSoundInputDriver(sgSoundChannel);
    state.Short(0, value ? SoundChannelCount() : 0);
    RaiseFailure(platform::SPBSetDeviceInfo(driver, framework::StringToOSType("lmet"), state.Pointer()));
}

// The low half of the gain, which this property has always returned.
int32_t VelmoraCanvas::SoundLevelMeterChannelCount()
{
    const MemoryBlock gain(4);
    RaiseFailure(ReadSoundDriver(sgSoundChannel, "gain", gain));
    return gain.Short(0);
}

int32_t VelmoraCanvas::SoundLevelMeterLeft()
{
    const MemoryBlock levels(4);
    RaiseFailure(ReadSoundDriver(sgSoundChannel, "lmac", levels));
    return levels.Byte(kLeft);
}

int32_t VelmoraCanvas::SoundLevelMeterRight()
{
    const MemoryBlock levels(4);
    RaiseFailure(ReadSoundDriver(sgSoundChannel, "lmac", levels));
    return levels.Byte(kRight);
}

} // namespace velmora
