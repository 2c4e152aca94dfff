// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/AddressSpace.h"
#include "platform/memory/FourCharCode.h"
#include "platform/memory/ResultCodes.h"

#include <cstdint>

namespace platform {

/// A port can be drawn into: an off-screen world, a window's content, or a picture. A pixel map describes the memory of
/// a port's pixels. References of both are above 0; 0 is none.
using PortReference = int32_t;
using PixMapReference = int32_t;

/// Creates an off-screen world with that pixel format (32, or a code: see `PixelFormat.h`) and the rectangle (top,
/// left, bottom, right: four signed 16-bit values) at `bounds`. All pixels are zero. Writes the port as 32 bits at
/// `world`; the caller disposes it. Colour table, device and flags are not used. `paramErr` for an unknown format or an
/// empty rectangle, `memFullErr` if it is too large or memory is full; 0 is written then.
Result QTNewGWorld(Address world, FourCharCode pixelFormat, Address bounds, int32_t colorTable, int32_t device,
                   int32_t flags);

/// Disposes an off-screen world and its pixels. Does nothing for the port of a window or picture.
void DisposeGWorld(PortReference world);

/// The pixel map of a port; 0 for an invalid reference. It stays valid when the port changes its size.
PixMapReference GetGWorldPixMap(PortReference port);

/// Returns 1, or 0 for an invalid reference. Pixels never move on this system, so there is nothing to lock.
int32_t LockPixels(PixMapReference map);
/// Does nothing.
void UnlockPixels(PixMapReference map);

/// Address of the first pixel of the top row; 0 for an invalid reference.
Address GetPixBaseAddr(PixMapReference map);

/// Bytes from one row to the next, a multiple of 64; 0 for an invalid reference.
int32_t GetPixRowBytes(PixMapReference map);

/// The port of a window's content; 0 for an invalid reference.
PortReference GetWindowPort(int32_t window);

} // namespace platform
