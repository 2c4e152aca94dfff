// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/AddressSpace.h"
#include "platform/memory/FourCharCode.h"
#include "platform/memory/ResultCodes.h"

#include <cstdint>

namespace platform {

/// A port is something that can be drawn into: an off-screen world, a window's content, or a picture.
/// A pixel map tells where a port's pixels lie. Both are numbers above 0; 0 is none.
using PortReference = int32_t;
using PixMapReference = int32_t;

/// Makes an off-screen world with the pixel format `pixelFormat` (32, or a code: see `PixelFormat.h`) and the
/// rectangle (top, left, bottom, right: four signed 16-bit values) at `bounds`, all pixels zero. Writes the port as
/// 32 bits at `world`. Colour table, device and flags are 0. `paramErr` for an unknown format or an empty or
/// inverted rectangle, `memFullErr` without memory; then 0 is written.
Result QTNewGWorld(Address world, FourCharCode pixelFormat, Address bounds, int32_t colorTable, int32_t device,
                   int32_t flags);

/// Gives an off-screen world and its pixels back. Ports that belong to a window or picture are left alone.
void DisposeGWorld(PortReference world);

/// The pixel map of a port, 0 for a dead number. It follows the port when that changes size.
PixMapReference GetGWorldPixMap(PortReference port);

/// Pixels of this system never move, so both only tell whether the map lives: 1 or 0.
int32_t LockPixels(PixMapReference map);
void UnlockPixels(PixMapReference map);

/// Address of the first pixel of the top row, 0 for a dead map.
Address GetPixBaseAddr(PixMapReference map);

/// Bytes from the start of one row to that of the next, a multiple of 64; 0 for a dead map.
int32_t GetPixRowBytes(PixMapReference map);

/// The port behind a window's content, 0 for a dead window number.
PortReference GetWindowPort(int32_t window);

} // namespace platform
