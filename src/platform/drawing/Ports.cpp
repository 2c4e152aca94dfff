// SPDX-License-Identifier: MIT
// Ports and their pixels.
//
// A port is one object with two references: its own and that of its pixel map. Both tables share the object, so a pixel
// map always describes the port's present pixels, even after a resize. The pixels are one block of the address space,
// owned by the port; a resize replaces the block. Rows start at multiples of 64 bytes, so that they are aligned for the
// codecs' pixel loops.
//
// Off-screen worlds belong to their creator (`DisposeGWorld`), other ports to a window or picture (`ReleasePort`).
// Neither call affects the other's ports, since a caller that got a window's port might try to dispose it as a world.
//
// A window's port may have views (`View.h`), which hold what was drawn last. The port's own pixels are then out of date
// and updated when they are needed: by `PixelsOfPort`, or when memory at their address is read.
//
// A picture's port may have only a reduced picture, if it is not shown any larger. What is drawn on it is also
// recorded. When the pixels are read, the whole picture is decoded and the drawing repeated on it.
//
// Worlds and ports are created, resized and drawn into on the main thread. The tables may be used on any thread.
#include "platform/drawing/Port.h"

#include "platform/components/FunctionTable.h"
#include "platform/memory/Handles.h"
#include "platform/memory/ReferenceTable.h"

#include <libyuv/scale_argb.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>

namespace platform {
namespace {

constexpr int32_t kRowAlignment = 64; // bytes

ReferenceTable<Port>& PortTable()
{
    static auto* table = new ReferenceTable<Port>(kPortReference);
    return *table;
}

ReferenceTable<Port>& PixMapTable()
{
    static auto* table = new ReferenceTable<Port>(kPixMapReference);
    return *table;
}

ReferenceTable<PortReference>& WindowTable()
{
    static auto* table = new ReferenceTable<PortReference>(kWindowReference);
    return *table;
}

int32_t AlignedRowBytes(int32_t packed)
{
    return (packed + kRowAlignment - 1) / kRowAlignment * kRowAlignment;
}

// Allocates zeroed pixels for the port. The planes of a planar format follow each other; the chroma planes have half
// the stride of the first one. Returns false, and leaves the port as it was, if memory is full.
bool AllocatePixels(Port& port, int32_t width, int32_t height, FourCharCode format)
{
    const int32_t packed = PackedRowBytes(format, width);
    const int32_t rowBytes = AlignedRowBytes(packed);
    const bool isPlanar = format == kY420PixelFormat || format == kNV12PixelFormat;
    const int64_t rows = isPlanar ? height + (height + 1) / 2 : height;
    OwnedBlock block(rowBytes * rows);
    if (block.Get() == 0)
        return false;
    port.block = std::move(block);
    port.pixels.pixels = PointerAt<uint8_t>(port.block.Get());
    port.pixels.rowBytes = rowBytes;
    port.pixels.width = width;
    port.pixels.height = height;
    port.pixels.format = format;
    return true;
}

PortReference AddPort(const std::shared_ptr<Port>& port)
{
    port->map = PixMapTable().Add(port);
    return PortTable().Add(port);
}

void RemovePort(PortReference reference, bool isWorld)
{
    const auto port = PortTable().Find(reference);
    if (!port || port->isWorld != isWorld)
        return;
    PortTable().Remove(reference);
    PixMapTable().Remove(port->map);
}

// `BytesFrom` makes the port's views update its pixels.
std::optional<PortPixels> UpToDatePixels(const std::shared_ptr<Port>& port)
{
    if (!port)
        return std::nullopt;
    BytesFrom(port->block.Get());
    return port->pixels;
}

void CopyRows(const PortPixels& from, const PortPixels& to)
{
    const auto bytes = static_cast<size_t>(PackedRowBytes(from.format, std::min(from.width, to.width)));
    for (int32_t y = 0; y < std::min(from.height, to.height); ++y)
        std::memcpy(to.pixels + ptrdiff_t{y} * to.rowBytes, from.pixels + ptrdiff_t{y} * from.rowBytes, bytes);
}

} // namespace

std::shared_ptr<Port> FindPort(PortReference port)
{
    return PortTable().Find(port);
}

PortRect Clipped(const PortRect& rect, int32_t width, int32_t height)
{
    const int32_t left = std::max(rect.left, 0);
    const int32_t top = std::max(rect.top, 0);
    const int32_t right = std::min(rect.left + rect.width, width);
    const int32_t bottom = std::min(rect.top + rect.height, height);
    if (right <= left || bottom <= top)
        return {};
    return {left, top, right - left, bottom - top};
}

Result QTNewGWorld(Address world, FourCharCode pixelFormat, Address bounds, int32_t, int32_t, int32_t)
{
    struct Bounds {
        int16_t top, left, bottom, right;
    };
    if (!Poke(world, PortReference{0}) || BytesAt(bounds, sizeof(Bounds)).empty())
        return paramErr;
    const auto rect = Peek<Bounds>(bounds);
    const int32_t width = rect.right - rect.left;
    const int32_t height = rect.bottom - rect.top;
    if (width < 1 || height < 1 || PackedRowBytes(pixelFormat, 1) == 0)
        return paramErr;
    const auto port = std::make_shared<Port>();
    if (!IsPictureSize(width, height) || !AllocatePixels(*port, width, height, pixelFormat))
        return memFullErr;
    port->isWorld = true;
    port->pixels.top = rect.top;
    port->pixels.left = rect.left;
    Poke(world, AddPort(port));
    return noErr;
}

void DisposeGWorld(PortReference world)
{
    RemovePort(world, true);
}

PixMapReference GetGWorldPixMap(PortReference port)
{
    const auto found = PortTable().Find(port);
    return found ? found->map : 0;
}

int32_t LockPixels(PixMapReference map)
{
    return PixMapTable().Find(map) ? 1 : 0;
}

// Pixels are never moved, so there is nothing to undo.
void UnlockPixels(PixMapReference) {}

Address GetPixBaseAddr(PixMapReference map)
{
    const auto port = PixMapTable().Find(map);
    return port ? port->block.Get() : 0;
}

int32_t GetPixRowBytes(PixMapReference map)
{
    const auto port = PixMapTable().Find(map);
    return port ? port->pixels.rowBytes : 0;
}

PortReference GetWindowPort(int32_t window)
{
    const auto port = WindowTable().Find(window);
    return port ? *port : 0;
}

PortReference NewPort(int32_t width, int32_t height)
{
    const auto port = std::make_shared<Port>();
    if (!IsPictureSize(width, height) || !AllocatePixels(*port, width, height, kPixelFormat32))
        return 0;
    return AddPort(port);
}

bool ResizePort(PortReference port, int32_t width, int32_t height)
{
    const auto found = PortTable().Find(port);
    if (!found || found->isWorld || !IsPictureSize(width, height))
        return false;
    // Update the old pixels from the views, then keep the old block alive until it is copied.
    BytesFrom(found->block.Get());
    Port old;
    old.block = std::move(found->block);
    old.pixels = found->pixels;
    if (!AllocatePixels(*found, width, height, kPixelFormat32)) {
        found->block = std::move(old.block);
        return false;
    }
    CopyRows(old.pixels, found->pixels);
    return true;
}

void ReleasePort(PortReference port)
{
    RemovePort(port, false);
}

std::optional<PortPixels> PixelsOfPort(PortReference port)
{
    return UpToDatePixels(PortTable().Find(port));
}

PictureBlock PictureBlock::Make(int32_t width, int32_t height)
{
    PictureBlock picture;
    if (!IsPictureSize(width, height))
        return picture;
    const int32_t rowBytes = AlignedRowBytes(PackedRowBytes(kPixelFormat32, width));
    picture.block = OwnedBlock::Uncleared(int64_t{rowBytes} * height);
    if (picture.block.Get() != 0)
        picture.pixels = {
            .pixels = PointerAt<uint8_t>(picture.block.Get()), .rowBytes = rowBytes, .width = width, .height = height};
    return picture;
}

bool ExchangePixels(PortReference port, PictureBlock& picture)
{
    const auto found = PortTable().Find(port);
    if (!found || found->isWorld || found->pixels.width != picture.pixels.width ||
        found->pixels.height != picture.pixels.height || found->pixels.rowBytes != picture.pixels.rowBytes)
        return false;
    found->DropReduced();
    std::swap(found->block, picture.block);
    std::swap(found->pixels, picture.pixels);
    return true;
}

bool TakeReducedPicture(PortReference port, PictureBlock picture, std::function<bool(const PortPixels& whole)> refine)
{
    const auto found = PortTable().Find(port);
    if (!found || found->isWorld || picture.pixels.width < 1)
        return false;
    found->DropReduced();
    found->reduced = std::move(picture);
    found->refine = std::move(refine);
    FillWhenRead(found->block.Get(), [weak = found->weak_from_this()] {
        if (const auto living = weak.lock())
            living->Refine();
    });
    return true;
}

void Port::DropReduced()
{
    reduced = {};
    refine = nullptr;
    drawn.clear();
}

void Port::Refine()
{
    if (!IsReduced())
        return;
    const PictureBlock small = std::exchange(reduced, {});
    const auto decode = std::exchange(refine, nullptr);
    const auto repeated = std::exchange(drawn, {});
    if (!decode || !decode(pixels)) {
        libyuv::ARGBScale(small.pixels.pixels, small.pixels.rowBytes, small.pixels.width, small.pixels.height,
                          pixels.pixels, pixels.rowBytes, pixels.width, pixels.height, libyuv::kFilterBilinear);
        return;
    }
    for (const auto& drawing : repeated)
        drawing({.pixels = pixels});
}

std::optional<PortPicture> PictureWithBase(Address base)
{
    for (const int32_t number : PortTable().Numbers()) {
        const auto port = PortTable().Find(number);
        if (!port || port->block.Get() != base || port->pixels.format != kPixelFormat32)
            continue;
        if (!port->IsReduced())
            BytesFrom(base); // updates a window's port from its views
        return PortPicture{port->IsReduced() ? port->reduced.pixels : port->pixels, port->pixels.width,
                           port->pixels.height, port->block.Size()};
    }
    return std::nullopt;
}

std::optional<PortPixels> LayoutOfPort(PortReference port)
{
    const auto found = PortTable().Find(port);
    return found ? std::optional(found->pixels) : std::nullopt;
}

std::optional<PortPixels> LayoutOfPixMap(PixMapReference map)
{
    const auto found = PixMapTable().Find(map);
    return found ? std::optional(found->pixels) : std::nullopt;
}

void NotePortChanged(PortReference port, const PortRect& area)
{
    const auto found = PortTable().Find(port);
    if (!found || area.width < 1 || area.height < 1)
        return;
    for (size_t i = 0; i < found->views.size(); ++i)
        if (const auto view = found->views[i].lock())
            view->CopyFromPort(area);
}

int32_t RegisterWindow(PortReference port)
{
    return WindowTable().Add(std::make_shared<PortReference>(port));
}

void UnregisterWindow(int32_t window)
{
    WindowTable().Remove(window);
}

void StartDrawing()
{
    constexpr auto carbon = "Carbon.framework";
    ExportFunction(carbon, "GetGWorldPixMap", GetGWorldPixMap);
    ExportFunction(carbon, "LockPixels", LockPixels);
    ExportFunction(carbon, "UnlockPixels", UnlockPixels);
    ExportFunction(carbon, "GetPixBaseAddr", GetPixBaseAddr);
    ExportFunction(carbon, "GetPixRowBytes", GetPixRowBytes);
    ExportFunction(carbon, "GetWindowPort", GetWindowPort);
    ExportFunction("QuickTime.framework", "QTNewGWorld", QTNewGWorld);

    constexpr auto carbonBinary = "/System/Library/Frameworks/Carbon.framework/Carbon";
    ExportFunction(carbonBinary, "NewHandleClear", NewHandleClear);
    ExportFunction(carbonBinary, "DisposeHandle", DisposeHandle);
}

} // namespace platform
