// SPDX-License-Identifier: MIT
#pragma once

#include "platform/components/Components.h"

namespace platform {

/// The isochronous data handler is the component of type "ihlr", subtype "dv  ", through which DV devices are
/// listed, configured and commanded. All calls answer `badComponentInstance` for a dead instance.

/// Makes an atom container of the devices on the bus, as 32 bits at `container`; the caller disposes it. Under the root
/// one "devc" for each device, in it one "isoc", in it one "mode" for each mode, in it "av  " with the media type as a
/// 32-bit number in host byte order.
Result IDHGetDeviceList(ComponentInstance handler, Address container);

/// Chooses device and mode by the record at `configuration`: container and mode atom, 32 bits each.
Result IDHSetDeviceConfiguration(ComponentInstance handler, Address configuration);

/// Writes the device control of the configured device (0 without one) as 32 bits.
Result IDHGetDeviceControl(ComponentInstance handler, Address deviceControl);

/// Sends the AV/C frame described by the record of 20 bytes at `parameters`: command address, command length, response
/// address, response size, handler (0), 32 bits each; the response is written where the record says, and its length
/// into the record. A status inquiry blocks until the response is there, at the longest about half a second. A control
/// command blocks for 40 ms at the longest, about a frame: a device that takes longer carries it out meanwhile, in the
/// order of the commands, and the response is INTERIM.
/// `badComponentInstance` for a dead device control, `ioErr` when the device doesn't answer.
Result DeviceControlDoAVCTransaction(int32_t deviceControl, Address parameters);

/// Waits until all commands have been carried out or have failed, for at most five seconds.
void FinishDeviceCommands();

/// Registers the component.
void StartIsochronousDataHandler();

} // namespace platform
