#pragma once

#include "platform/grabber/Channel.h"
#include "platform/memory/Handles.h"

namespace platform {

/// A device list as published, with the lists of inputs where they are wanted. 0 without memory.
Handle MakeDeviceList(const Channel& channel, bool withInputs);

/// Gives a list back together with its lists of inputs.
void FreeDeviceList(Handle list);

} // namespace platform
