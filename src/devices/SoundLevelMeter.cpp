// SPDX-License-Identifier: MIT
// The level meter of the sound driver. Each read is one call of the driver, so left and right are of two moments; no
// state is kept between polls. After a failure a read gives what its zeroed block gives.
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

// The on state carries the number of channels to be metered.
void VelmoraCanvas::SoundLevelMeterActive(bool value)
{
    MemoryBlock state(4);
    const int32_t driver = platform::SGGetSoundInputDriver(sgSoundChannel);
    state.Short(0, value ? SoundChannelCount() : 0);
    RaiseFailure(platform::SPBSetDeviceInfo(driver, OSTypeToLong("lmet"), state.Pointer()));
}

// The low half of the gain, which is what this property has always told.
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
