// SPDX-License-Identifier: MIT
#pragma once

#include "capture/VelmoraCanvas.h"
#include "platform/grabber/SequenceGrabber.h"
#include "platform/sound/SoundInput.h"

namespace velmora {

/// Reads a property of the driver behind a sound channel into `block`. The driver is asked for at each call, since a
/// channel may change its device between any two.
inline platform::Result ReadSoundDriver(int32_t channel, const String& selector, const MemoryBlock& block)
{
    return platform::SPBGetDeviceInfo(platform::SGGetSoundInputDriver(channel), VelmoraCanvas::OSTypeToLong(selector),
                                      block.Pointer());
}

} // namespace velmora
