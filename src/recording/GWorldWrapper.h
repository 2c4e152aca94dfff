// SPDX-License-Identifier: MIT
#pragma once

#include "framework/MemoryBlock.h"
#include "framework/Picture.h"
#include "framework/Reference.h"
#include "framework/String.h"
#include "framework/Window.h"

#include <cstdint>

namespace velmora {

/// What the image code asks of a source of pixels.
class imageSrc {
public:
    virtual ~imageSrc() = default;
    virtual int32_t GetImageDescription() = 0; ///< a handle that the caller owns, or 0
    virtual int32_t GetBaseAddress() = 0;
    virtual int32_t GetDataSize() = 0;
    virtual framework::Reference<framework::MemoryBlock> GetRect() = 0; ///< 8 bytes: top, left, bottom, right
};

/// A buffer of pixels over one of the platform's graphics worlds or ports: a new off-screen world, a window's port, or
/// the port behind a picture. The platform's world is never given back: the buffers of a session live as long as it.
class GWorldWrapper : public imageSrc {
public:
    /// A new world of 32-bit pixels. A failure is shown in a message box and raises `RuntimeException`.
    GWorldWrapper(int32_t width, int32_t height);
    GWorldWrapper(int32_t top, int32_t left, int32_t width, int32_t height);

    /// The same in the pixel format of that four-character code.
    GWorldWrapper(int32_t width, int32_t height, const framework::String& format);
    GWorldWrapper(int32_t top, int32_t left, int32_t width, int32_t height, const framework::String& format);

    /// The port of a window; no pixels are made.
    GWorldWrapper(int32_t top, int32_t left, int32_t width, int32_t height, framework::Window* window);

    /// The port of a picture.
    explicit GWorldWrapper(const framework::Reference<framework::Picture>& picture);

    virtual void LockPixels();
    virtual void UnlockPixels();
    /// A new picture of this size with a copy of the pixels, row strides taken to be equal.
    virtual framework::Reference<framework::Picture> CopyToPicture();
    framework::Reference<framework::MemoryBlock> GetRect() override;
    int32_t GetImageDescription() override;
    virtual int32_t GetPixMap();
    int32_t GetBaseAddress() override;
    virtual int32_t GetRowBytes();
    int32_t GetDataSize() override;
    /// 16 bytes: base address, height, width, bytes per row.
    virtual framework::Reference<framework::MemoryBlock> getvImageBuffer();

    framework::Reference<framework::MemoryBlock> handle; ///< 4 bytes with the world or port
    int32_t width = 0;
    int32_t height = 0;
    int32_t top = 0;
    int32_t left = 0;
    framework::String format = "rgba"; ///< always "rgba": nothing sets it
    bool masked = false;
    framework::Reference<framework::Picture> original; ///< the picture that this was made of, else nil

private:
    void MakeWorld(uint32_t pixelFormat);
    int32_t newclearhandle();
};

} // namespace velmora
