// SPDX-License-Identifier: MIT
#include "framework/Picture.h"

#include "framework/PortImage.h"
#include "platform/memory/Handles.h"

#include <cstring>

namespace framework {
namespace {

constexpr int32_t kPictureDepth = 32;
constexpr int32_t kBytesPerPixel = 4;

// Fields of an image description, in host byte order.
constexpr int32_t kDescriptionSize = 86;
constexpr size_t kSizeOffset = 0;
constexpr size_t kWidthOffset = 32;
constexpr size_t kHeightOffset = 34;

template <typename T> T ReadAt(std::span<const uint8_t> bytes, size_t offset)
{
    T value;
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

void CopyPixels(const uint8_t* source, QImage image)
{
    const size_t rowBytes = static_cast<size_t>(image.width()) * kBytesPerPixel;
    for (int row = 0; row < image.height(); ++row, source += rowBytes) {
        auto* target = reinterpret_cast<uint32_t*>(image.scanLine(row));
        std::memcpy(target, source, rowBytes);
        // The fourth byte of a pixel is unused in the handle and opaque in a port.
        for (int column = 0; column < image.width(); ++column)
            target[column] |= 0xFF000000;
    }
}

} // namespace

Picture::Picture(int32_t width, int32_t height, int32_t depth)
    : port(depth == kPictureDepth ? platform::NewPort(width, height) : 0)
{
    if (port == 0)
        throw RuntimeException("A picture of that size or depth can't be made.");
    Image().fill(Qt::white);
    graphics = std::make_unique<framework::Graphics>(port, platform::PortRect{0, 0, width, height});
    graphics->KeepCovered();
}

QImage Picture::Undrawn() const
{
    if (!undrawn.isNull())
        return undrawn;
    QImage whole = Image().copy();
    return graphics->Uncover(whole) ? whole : QImage();
}

Picture::~Picture()
{
    graphics.reset();
    platform::ReleasePort(port);
}

Reference<Picture> Picture::FromPicHandle(int32_t handle, [[maybe_unused]] int32_t flag)
{
    const std::span<const uint8_t> bytes = platform::HandleBytes(handle);
    if (bytes.size() < static_cast<size_t>(kDescriptionSize))
        return nullptr;
    const auto pixelsAt = ReadAt<int32_t>(bytes, kSizeOffset);
    const int32_t width = ReadAt<int16_t>(bytes, kWidthOffset);
    const int32_t height = ReadAt<int16_t>(bytes, kHeightOffset);
    if (pixelsAt < kDescriptionSize || width < 1 || height < 1 ||
        pixelsAt + int64_t{width} * height * kBytesPerPixel > static_cast<int64_t>(bytes.size()))
        return nullptr;
    try {
        const auto picture = New<Picture>(width, height);
        CopyPixels(bytes.data() + pixelsAt, picture->Image());
        return picture;
    } catch (const RuntimeException&) {
        return nullptr;
    }
}

int32_t Picture::Width() const
{
    return graphics->Width();
}

int32_t Picture::Height() const
{
    return graphics->Height();
}

Graphics& Picture::Graphics()
{
    graphics->ForgetDrawing();
    return *graphics;
}

platform::PortReference Picture::RGBSurface() const
{
    return port;
}

QImage Picture::Image() const
{
    return ImageOfPort(port);
}

} // namespace framework
