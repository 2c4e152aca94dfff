// SPDX-License-Identifier: MIT
// A pixel buffer over a graphics world or a port of the platform. The wrapper holds a reference and a rectangle; the
// pixels belong to the platform and stay locked. Nothing is released here: a new world lives as long as the process, a
// port as long as its window or picture.
//
// The platform's drawing calls are bound by name at each call, so that a call which the platform lacks raises an
// exception here.
#include "recording/GWorldWrapper.h"

#include "framework/Application.h"
#include "framework/LazyFunction.h"
#include "recording/Utilities.h"

namespace velmora {

using framework::LazyFunction;
using framework::MemoryBlock;
using framework::New;
using framework::Picture;
using framework::Reference;
using framework::String;

namespace {

constexpr const char* kCarbon = "Carbon.framework";
constexpr const char* kQuickTime = "QuickTime.framework";
const LazyFunction<int32_t(int32_t)> lazyGetGWorldPixMap(kCarbon, "GetGWorldPixMap");
const LazyFunction<int32_t(int32_t)> lazyLockPixels(kCarbon, "LockPixels");
const LazyFunction<void(int32_t)> lazyUnlockPixels(kCarbon, "UnlockPixels");
const LazyFunction<int32_t(int32_t)> lazyGetPixBaseAddr(kCarbon, "GetPixBaseAddr");
const LazyFunction<int32_t(int32_t)> lazyGetPixRowBytes(kCarbon, "GetPixRowBytes");
const LazyFunction<int32_t(int32_t)> lazyGetWindowPort(kCarbon, "GetWindowPort");
const LazyFunction<int32_t(int32_t, uint32_t, int32_t, int32_t, int32_t, int32_t)> lazyQTNewGWorld(kQuickTime,
                                                                                                   "QTNewGWorld");
const LazyFunction<int32_t(int32_t, int32_t)> lazyMakeImageDescription(kQuickTime, "MakeImageDescriptionForPixMap");

constexpr uint32_t kThirtyTwoBits = 32;
constexpr int32_t kPortHandle = 2; // of a `Graphics`

// The port of a picture. The empty fill makes sure that the picture has one.
int32_t PortOf(Picture& picture)
{
    picture.Graphics().FillRect(0, 0, 0, 0);
    const int32_t port = picture.Graphics().Handle(kPortHandle);
    if (port == 0)
        framework::Break();
    return port;
}

Reference<MemoryBlock> BlockOf(int32_t value)
{
    auto block = New<MemoryBlock>(4);
    block->Long(0, value);
    return block;
}

} // namespace

GWorldWrapper::GWorldWrapper(int32_t width, int32_t height) : GWorldWrapper(0, 0, width, height) {}

GWorldWrapper::GWorldWrapper(int32_t top, int32_t left, int32_t width, int32_t height)
    : width(width), height(height), top(top), left(left)
{
    MakeWorld(kThirtyTwoBits);
}

GWorldWrapper::GWorldWrapper(int32_t width, int32_t height, const String& format)
    : GWorldWrapper(0, 0, width, height, format)
{
}

GWorldWrapper::GWorldWrapper(int32_t top, int32_t left, int32_t width, int32_t height, const String& pixelFormat)
    : width(width), height(height), top(top), left(left)
{
    MakeWorld(framework::StringToOSType(pixelFormat));
}

GWorldWrapper::GWorldWrapper(int32_t top, int32_t left, int32_t width, int32_t height, framework::Window* window)
    : width(width), height(height), top(top), left(left)
{
    if (window == nullptr)
        throw framework::NilObjectException();
    handle = BlockOf(lazyGetWindowPort(window->WindowReference()));
    lazyLockPixels(GetPixMap());
}

GWorldWrapper::GWorldWrapper(const Reference<Picture>& picture)
    : handle(BlockOf(PortOf(*picture))), width(picture->Width()), height(picture->Height()), original(picture)
{
}

void GWorldWrapper::MakeWorld(uint32_t pixelFormat)
{
    handle = New<MemoryBlock>(4);
    const int32_t result = lazyQTNewGWorld(handle->Pointer(), pixelFormat, GetRect()->Pointer(), 0, 0, 0);
    if (result != 0) {
        framework::MsgBox("NewGWorld error" + framework::Str(result));
        throw framework::RuntimeException();
    }
    lazyLockPixels(GetPixMap());
}

void GWorldWrapper::LockPixels()
{
    if (handle)
        lazyLockPixels(GetPixMap());
}

void GWorldWrapper::UnlockPixels()
{
    if (handle)
        lazyUnlockPixels(GetPixMap());
}

Reference<Picture> GWorldWrapper::CopyToPicture()
{
    auto picture = New<Picture>(width, height, 32);
    if (picture->RGBSurface() == 0)
        framework::Break();
    const int32_t targetMap = lazyGetGWorldPixMap(PortOf(*picture));
    const int32_t targetRowBytes = lazyGetPixRowBytes(targetMap);
    const auto target = MemoryBlock::At(lazyGetPixBaseAddr(targetMap));
    const int32_t sourceMap = GetPixMap();
    const int32_t sourceRowBytes = lazyGetPixRowBytes(sourceMap);
    const auto source = MemoryBlock::At(lazyGetPixBaseAddr(sourceMap));
    lazyLockPixels(targetMap);
    lazyLockPixels(sourceMap);
    target->StringValue(0, height * targetRowBytes, source->StringValue(0, height * sourceRowBytes));
    lazyUnlockPixels(targetMap);
    lazyUnlockPixels(sourceMap);
    if (original)
        picture->CopyUndrawn(*original);
    return picture;
}

Reference<MemoryBlock> GWorldWrapper::GetRect()
{
    auto rect = New<MemoryBlock>(8);
    rect->Short(0, top);
    rect->Short(2, left);
    rect->Short(4, top + height);
    rect->Short(6, left + width);
    return rect;
}

int32_t GWorldWrapper::GetImageDescription()
{
    const auto description = BlockOf(newclearhandle());
    return lazyMakeImageDescription(GetPixMap(), description->Pointer()) == 0 ? description->Long(0) : 0;
}

int32_t GWorldWrapper::GetPixMap()
{
    return lazyGetGWorldPixMap(handle->Long(0));
}

int32_t GWorldWrapper::GetBaseAddress()
{
    return lazyGetPixBaseAddr(GetPixMap());
}

int32_t GWorldWrapper::GetRowBytes()
{
    return lazyGetPixRowBytes(GetPixMap());
}

int32_t GWorldWrapper::GetDataSize()
{
    return height * GetRowBytes();
}

Reference<MemoryBlock> GWorldWrapper::getvImageBuffer()
{
    auto buffer = New<MemoryBlock>(16);
    buffer->Long(0, GetBaseAddress());
    buffer->Long(4, height);
    buffer->Long(8, width);
    buffer->Long(12, GetRowBytes());
    return buffer;
}

int32_t GWorldWrapper::newclearhandle()
{
    return Utilities::newclearhandle();
}

} // namespace velmora
