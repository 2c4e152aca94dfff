// SPDX-License-Identifier: MIT
#pragma once

#include "platform/components/Components.h"

namespace platform {

/// The isochronous data handler is the component of type "ihlr", subtype "dv  ", through which DV devices are listed,
/// configured and commanded. All calls return `badComponentInstance` for an invalid instance.

/// Creates an atom container of the devices on the bus and writes it as 32 bits at `container`; the caller disposes it.
/// The root has one "devc" for each device, this has one "isoc", with one "mode" for each mode, which contains an "av
/// " with the media type as a 32-bit number in host byte order.
Result IDHGetDeviceList(ComponentInstance handler, Address container);

/// Selects device and mode by the record at `configuration`: container and mode atom, 32 bits each.
Result IDHSetDeviceConfiguration(ComponentInstance handler, Address configuration);

/// Writes the device control of the configured device (0 without one) as 32 bits.
Result IDHGetDeviceControl(ComponentInstance handler, Address deviceControl);

/// Sends the AV/C frame described by the record of 20 bytes at `parameters`: command address, command length, response
/// address, response size, handler (0), 32 bits each. Writes the response to the given address, and its length to the
/// record. A status inquiry blocks until the response arrives, about half a second at most. A control command blocks
/// for 40 ms at most, about a frame: a slower device carries it out meanwhile, commands stay in order, and the response
/// is INTERIM.
/// Returns `badComponentInstance` for an invalid device control, `ioErr` if the device doesn't respond.
Result DeviceControlDoAVCTransaction(int32_t deviceControl, Address parameters);

/// Waits until all commands have been carried out or have failed, five seconds at most.
void FinishDeviceCommands();

/// Registers the component.
void StartIsochronousDataHandler();

} // namespace platform
