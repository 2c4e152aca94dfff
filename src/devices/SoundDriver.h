// SPDX-License-Identifier: MIT
#pragma once

#include "capture/VelmoraCanvas.h"
#include "platform/grabber/SequenceGrabber.h"
#include "platform/sound/SoundInput.h"

namespace velmora {

/// Reads a property of a sound channel's driver into `block`, which must be large enough for it. Returns the result
/// code. The driver is looked up at each call, since the channel may have changed its device.
inline platform::Result ReadSoundDriver(int32_t channel, const String& selector, const MemoryBlock& block)
{
    return platform::SPBGetDeviceInfo(platform::SGGetSoundInputDriver(channel), framework::StringToOSType(selector),
                                      block.Pointer());
}

} // namespace velmora
