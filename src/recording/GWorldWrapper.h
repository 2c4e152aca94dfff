// SPDX-License-Identifier: MIT
#pragma once

#include "framework/MemoryBlock.h"
#include "framework/Picture.h"
#include "framework/Reference.h"
#include "framework/String.h"
#include "framework/Window.h"

#include <cstdint>

namespace velmora {

/// A source of pixels for the image code.
class imageSrc {
public:
    virtual ~imageSrc() = default;
    virtual int32_t GetImageDescription() = 0;                          ///< a handle that the caller owns, or 0
    virtual int32_t GetBaseAddress() = 0;                               ///< address of the first pixel
    virtual int32_t GetDataSize() = 0;                                  ///< bytes of all rows
    virtual framework::Reference<framework::MemoryBlock> GetRect() = 0; ///< 8 bytes: top, left, bottom, right
};

/// A pixel buffer over one of the platform's graphics worlds or ports: a new off-screen world, a window's port, or the
/// port of a picture. A new world is never disposed: it lives as long as the process.
class GWorldWrapper : public imageSrc {
public:
    /// Creates a world of 32-bit pixels with its origin at 0, 0. A failure is shown in a message box and raises
    /// `RuntimeException`.
    GWorldWrapper(int32_t width, int32_t height);
    /// The same, with the origin at `left`, `top`.
    GWorldWrapper(int32_t top, int32_t left, int32_t width, int32_t height);

    /// Creates a world in the pixel format of that four-character code; fails in the same way.
    GWorldWrapper(int32_t width, int32_t height, const framework::String& format);
    /// The same, with the origin at `left`, `top`.
    GWorldWrapper(int32_t top, int32_t left, int32_t width, int32_t height, const framework::String& format);

    /// Wraps the port of a window; no pixels are allocated. Raises `NilObjectException` for nil.
    GWorldWrapper(int32_t top, int32_t left, int32_t width, int32_t height, framework::Window* window);

    /// Wraps the port of a picture and keeps the picture alive.
    explicit GWorldWrapper(const framework::Reference<framework::Picture>& picture);

    /// Locks the pixels in memory, as every constructor but the last does.
    virtual void LockPixels();
    /// Unlocks the pixels.
    virtual void UnlockPixels();
    /// A new picture of this size with a copy of the pixels. Assumes that both have the same row stride.
    virtual framework::Reference<framework::Picture> CopyToPicture();
    framework::Reference<framework::MemoryBlock> GetRect() override;
    int32_t GetImageDescription() override;
    virtual int32_t GetPixMap(); ///< the platform's pixel map of the world or port
    int32_t GetBaseAddress() override;
    virtual int32_t GetRowBytes(); ///< bytes from one row to the next
    int32_t GetDataSize() override;
    /// 16 bytes: base address, height, width, bytes per row.
    virtual framework::Reference<framework::MemoryBlock> getvImageBuffer();

    framework::Reference<framework::MemoryBlock> handle; ///< 4 bytes: the reference of the world or port
    int32_t width = 0;
    int32_t height = 0;
    int32_t top = 0;
    int32_t left = 0;
    framework::String format = "rgba"; ///< always "rgba": nothing sets it
    bool masked = false;
    framework::Reference<framework::Picture> original; ///< the picture whose port this is, else nil

private:
    void MakeWorld(uint32_t pixelFormat);
    int32_t newclearhandle();
};

} // namespace velmora
