// SPDX-License-Identifier: MIT
#pragma once

#include "platform/drawing/GraphicsWorlds.h"
#include "platform/drawing/PixelFormat.h"
#include "platform/memory/AddressSpace.h"

#include <functional>
#include <optional>

namespace platform {

/// The memory layout of a port's pixels. `pixels` points into the address space and is valid until the port changes its
/// size or is released.
struct PortPixels {
    uint8_t* pixels = nullptr;
    int32_t rowBytes = 0;
    int32_t width = 0;
    int32_t height = 0;
    int32_t top = 0; ///< origin of the port's rectangle; 0 for windows and pictures
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

/// Creates a port of 32-bit pixels, all zero, for the content of a window or picture. The owner releases it with
/// `ReleasePort`. Returns 0 for a size below 1 or above `kMaxPictureSide`, or if memory is full.
PortReference NewPort(int32_t width, int32_t height);

/// Changes a port's size. The top left part of the content is kept; new pixels are zero. Returns false, and changes
/// nothing, where `NewPort` would fail.
bool ResizePort(PortReference port, int32_t width, int32_t height);

/// Releases a port of `NewPort` and its pixels.
void ReleasePort(PortReference port);

/// The pixels of a port, updated from its views; nothing for an invalid reference.
std::optional<PortPixels> PixelsOfPort(PortReference port);

/// A picture that owns its pixels. Rows start at multiples of 64 bytes.
struct PictureBlock {
    OwnedBlock block;
    PortPixels pixels;

    /// Allocates pixels with undefined content; no pixels if the size is invalid or memory is full.
    static PictureBlock Make(int32_t width, int32_t height);
};

/// Swaps the pixels of a port of `NewPort` and of a picture of the same size. Returns false, and does nothing, if the
/// sizes differ.
bool ExchangePixels(PortReference port, PictureBlock& picture);

/// Sets a reduced picture as the content of a port of `NewPort`. `refine` is called when the port's pixels are read: it
/// draws the whole picture into them, or returns false, and then the reduced picture is enlarged. Returns false, and
/// does nothing, for an invalid port or an empty picture.
bool TakeReducedPicture(PortReference port, PictureBlock picture, std::function<bool(const PortPixels& whole)> refine);

/// The picture of a port, possibly reduced, and the port's own size.
struct PortPicture {
    PortPixels pixels;
    int32_t width = 0;
    int32_t height = 0;
    int64_t bytes = 0; ///< of the port's own pixels
};

/// The picture of the port whose pixels start at `base`. Does not read them, so a reduced picture stays reduced.
std::optional<PortPicture> PictureWithBase(Address base);

/// The size and layout of a port's pixels, which may be out of date; nothing for an invalid reference.
std::optional<PortPixels> LayoutOfPort(PortReference port);
/// The same by the port's pixel map.
std::optional<PortPixels> LayoutOfPixMap(PixMapReference map);

/// Updates the views of a port after its own pixels have changed within `area`.
void NotePortChanged(PortReference port, const PortRect& area);

/// Creates a reference for the window whose content is `port`, for `GetWindowPort`.
int32_t RegisterWindow(PortReference port);
/// Removes a window's reference.
void UnregisterWindow(int32_t window);

/// Starts the module: registers the calls that are bound by name.
void StartDrawing();

} // namespace platform
