// SPDX-License-Identifier: MIT
#pragma once

#include "platform/drawing/GraphicsWorlds.h"
#include "platform/drawing/PixelFormat.h"
#include "platform/memory/AddressSpace.h"

#include <functional>
#include <optional>

namespace platform {

/// Where a port's pixels lie. `pixels` points into the address space and stays valid until the port changes size.
struct PortPixels {
    uint8_t* pixels = nullptr;
    int32_t rowBytes = 0;
    int32_t width = 0;
    int32_t height = 0;
    int32_t top = 0; ///< the port's rectangle begins here; 0 for windows and pictures
    int32_t left = 0;
    FourCharCode format = kPixelFormat32;
};

/// A rectangle in a port's pixels. Empty unless both sides are above 0.
struct PortRect {
    int32_t left = 0;
    int32_t top = 0;
    int32_t width = 0;
    int32_t height = 0;
};

/// Makes a port of 32-bit pixels for a window's or a picture's content. Its owner gives it back with `ReleasePort`.
/// 0 for a size below 1 or above 16384, or without memory.
PortReference NewPort(int32_t width, int32_t height);

/// Changes a port's size. What fits of the old content is kept, the rest is zero. False as `NewPort`.
bool ResizePort(PortReference port, int32_t width, int32_t height);

/// Gives a port of `NewPort` back; the number is dead from then on.
void ReleasePort(PortReference port);

/// The pixels of a living port, with all that its views show.
std::optional<PortPixels> PixelsOfPort(PortReference port);

/// A picture in pixels of its own. Rows begin at multiples of 64 bytes.
struct PictureBlock {
    OwnedBlock block;
    PortPixels pixels;

    /// Pixels whose content is undefined; no block without memory.
    static PictureBlock Make(int32_t width, int32_t height);
};

/// Has a port of `NewPort` take over a picture of its own size, by exchanging the pixels: `picture` has the port's old
/// ones then. False, with nothing done, where the sizes differ.
bool ExchangePixels(PortReference port, PictureBlock& picture);

/// Has a port of `NewPort` stand for a picture of its size that there is at a reduced size only. `refine` is called
/// when somebody reads the port's pixels: it draws the whole picture into them, or answers false; then the reduced one
/// is enlarged. False, with nothing done, for a dead port.
bool TakeReducedPicture(PortReference port, PictureBlock picture, std::function<bool(const PortPixels& whole)> refine);

/// The picture of a port, reduced where only that is there, and the port's own size.
struct PortPicture {
    PortPixels pixels;
    int32_t width = 0;
    int32_t height = 0;
    int64_t bytes = 0; ///< of the port's own pixels
};

/// The picture of the port whose pixels begin at an address, without reading them; nothing where there is none.
std::optional<PortPicture> PictureWithBase(Address base);

/// The size and layout of a living port or pixel map. Its pixels may be behind.
std::optional<PortPixels> LayoutOfPort(PortReference port);
std::optional<PortPixels> LayoutOfPixMap(PixMapReference map);

/// Tells the views of a port that pixels changed.
void NotePortChanged(PortReference port, const PortRect& area);

/// A number for a window whose content is `port`, for `GetWindowPort`; and its end.
int32_t RegisterWindow(PortReference port);
void UnregisterWindow(int32_t window);

/// Exports the calls that are bound by name.
void StartDrawing();

} // namespace platform
