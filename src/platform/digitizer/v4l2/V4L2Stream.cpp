// A streaming run over memory-mapped buffers.
//
// The states follow one another: format set, buffers requested, mapped, queued, streaming. The destructor undoes
// whatever was reached, so that each step may simply fail. A buffer is either the driver's (queued) or, between `Take`
// and `GiveBack`, the caller's.
//
// A frame that is damaged goes straight back to the driver. Its sequence number is used up all the same, which is how
// the receiver learns of the loss.
#include "platform/digitizer/v4l2/V4L2Stream.h"

#include "platform/digitizer/FrameGrid.h"
#include "platform/drawing/PixelFormat.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

namespace platform {
namespace {

constexpr uint32_t kBuffers = 6;
constexpr uint32_t kFewestBuffers = 2;
// Stamps outside of this age are not believed: the clock of the frame's arrival is used instead.
constexpr int64_t kOldestStamp = 5'000'000'000;
constexpr FourCharCode kJpeg = CodeOf("jpeg");

v4l2_buffer EmptyBuffer(uint32_t index = 0)
{
    v4l2_buffer buffer{};
    buffer.index = index;
    buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    buffer.memory = V4L2_MEMORY_MMAP;
    return buffer;
}

int RequestBuffers(const V4L2Device& device, uint32_t& count)
{
    v4l2_requestbuffers request{};
    request.count = count;
    request.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    request.memory = V4L2_MEMORY_MMAP;
    const int error = device.Ioctl(VIDIOC_REQBUFS, request);
    count = request.count;
    return error;
}

// A plane of a raw picture: its packed rows, and the distance between rows in the driver's buffer.
struct Plane {
    int64_t rowBytes = 0;
    int64_t stride = 0;
    int64_t rows = 0;
};

std::array<Plane, 3> PlanesOf(const CaptureFormat& format, int64_t stride)
{
    const int64_t chromaRows = (format.height + 1) / 2;
    const int64_t chromaWidth = (format.width + 1) / 2;
    const int64_t rowBytes = PackedRowBytes(format.format, format.width);
    stride = std::max(stride, rowBytes);
    std::array<Plane, 3> planes{{{rowBytes, stride, format.height}}};
    if (format.format == kNV12PixelFormat)
        planes[1] = {chromaWidth * 2, stride, chromaRows};
    if (format.format == kY420PixelFormat)
        planes[1] = planes[2] = {chromaWidth, std::max(stride / 2, chromaWidth), chromaRows};
    return planes;
}

} // namespace

std::optional<std::pair<int32_t, int32_t>> JpegSize(std::span<const uint8_t> frame)
{
    if (frame.size() < 4 || frame[0] != 0xFF || frame[1] != 0xD8)
        return std::nullopt;
    for (size_t at = 2; at + 9 <= frame.size();) {
        if (frame[at] != 0xFF)
            return std::nullopt;
        const uint8_t marker = frame[at + 1];
        if (marker == 0xFF) { // fill bytes may stand in front of a marker
            ++at;
            continue;
        }
        const size_t length = static_cast<size_t>(frame[at + 2]) << 8 | frame[at + 3];
        const bool isFrameHeader =
            marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
        if (isFrameHeader) {
            const int32_t height = frame[at + 5] << 8 | frame[at + 6];
            const int32_t width = frame[at + 7] << 8 | frame[at + 8];
            const bool usable = width >= 1 && height >= 1 && width <= 16384 && height <= 16384;
            return usable ? std::optional(std::pair(width, height)) : std::nullopt;
        }
        if (marker == 0xDA || marker == 0xD9 || length < 2)
            return std::nullopt;
        at += 2 + length;
    }
    return std::nullopt;
}

std::unique_ptr<V4L2Stream> V4L2Stream::Begin(std::shared_ptr<V4L2Device> device, const CaptureFormat& wanted,
                                              Size size, Result& result)
{
    std::unique_ptr<V4L2Stream> stream(new V4L2Stream(std::move(device)));
    result = ApplyFormat(*stream->device, wanted, stream->format, stream->layout);
    const bool asWanted = stream->format.width == wanted.width && stream->format.height == wanted.height;
    if (result == noErr && size == Size::AsWanted && !asWanted)
        result = deviceCantMeetRequest;
    if (result == noErr)
        result = stream->MapBuffers();
    if (result == noErr)
        result = stream->Run();
    return result == noErr ? std::move(stream) : nullptr;
}

V4L2Stream::~V4L2Stream()
{
    int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    if (running)
        device->Ioctl(VIDIOC_STREAMOFF, type);
    for (const Mapping& mapping : mappings)
        device->System().Unmap(mapping.memory, mapping.length);
    // Without its buffers given back the device could not be set to another format, nor be used by anyone else.
    uint32_t none = 0;
    if (requested)
        RequestBuffers(*device, none);
}

Result V4L2Stream::MapBuffers()
{
    uint32_t count = kBuffers;
    if (const int error = RequestBuffers(*device, count); error != 0)
        return ResultOfDeviceError(error);
    requested = true;
    if (count < kFewestBuffers)
        return notEnoughMemoryToGrab;
    for (uint32_t i = 0; i < count; ++i) {
        v4l2_buffer buffer = EmptyBuffer(i);
        if (const int error = device->Ioctl(VIDIOC_QUERYBUF, buffer); error != 0)
            return ResultOfDeviceError(error);
        void* memory = device->System().Map(device->Descriptor(), buffer.length, buffer.m.offset);
        if (memory == nullptr)
            return ResultOfDeviceError(errno);
        mappings.push_back({static_cast<uint8_t*>(memory), buffer.length});
    }
    return noErr;
}

Result V4L2Stream::Run()
{
    for (uint32_t i = 0; i < mappings.size(); ++i) {
        v4l2_buffer buffer = EmptyBuffer(i);
        if (const int error = device->Ioctl(VIDIOC_QBUF, buffer); error != 0)
            return ResultOfDeviceError(error);
    }
    // Only devices whose source can change know the event.
    v4l2_event_subscription subscription{};
    subscription.type = V4L2_EVENT_SOURCE_CHANGE;
    device->Ioctl(VIDIOC_SUBSCRIBE_EVENT, subscription);
    int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    const int error = device->Ioctl(VIDIOC_STREAMON, type);
    running = error == 0;
    return ResultOfDeviceError(error);
}

V4L2Stream::Taken V4L2Stream::Take(CapturedFrame& frame)
{
    current = EmptyBuffer();
    lastError = device->Ioctl(VIDIOC_DQBUF, current);
    if (lastError == 0 && current.index >= mappings.size())
        lastError = EIO;
    if (lastError != 0)
        return lastError == EAGAIN ? Taken::Nothing : Taken::Failed;
    CountFrame(current.sequence);
    const Mapping& mapping = mappings[current.index];
    Taken taken = Taken::Damaged;
    if ((current.flags & V4L2_BUF_FLAG_ERROR) == 0 && current.bytesused <= mapping.length)
        taken = Examine({mapping.memory, current.bytesused}, frame.picture);
    frame.captureTime = CaptureTimeOf(current);
    frame.sequence = sequence;
    if (taken != Taken::Frame && !GiveBack())
        return Taken::Failed;
    return taken;
}

bool V4L2Stream::GiveBack()
{
    v4l2_buffer buffer = EmptyBuffer(current.index);
    lastError = device->Ioctl(VIDIOC_QBUF, buffer);
    return lastError == 0;
}

bool V4L2Stream::SourceChanged()
{
    bool changed = false;
    v4l2_event event{};
    while (device->Ioctl(VIDIOC_DQEVENT, event) == 0) {
        changed |= event.type == V4L2_EVENT_SOURCE_CHANGE;
        if (event.pending == 0)
            break;
    }
    return changed;
}

V4L2Stream::Taken V4L2Stream::Examine(std::span<const uint8_t> bytes, RawFrame& picture)
{
    if (format.format != kJpeg)
        return ExamineRaw(bytes, picture);
    const auto size = JpegSize(bytes);
    if (!size)
        return Taken::Damaged;
    picture = {bytes, kJpeg, size->first, size->second};
    return Taken::Frame;
}

V4L2Stream::Taken V4L2Stream::ExamineRaw(std::span<const uint8_t> bytes, RawFrame& picture)
{
    const auto planes = PlanesOf(format, layout.bytesperline);
    const int64_t packedSize = PackedImageSize(format.format, format.width, format.height);
    int64_t spread = 0;
    int64_t needed = 0; // the last row's padding may be missing
    for (const Plane& plane : planes) {
        needed = plane.rows == 0 ? needed : spread + plane.stride * (plane.rows - 1) + plane.rowBytes;
        spread += plane.stride * plane.rows;
    }
    if (static_cast<int64_t>(bytes.size()) < needed)
        return FormatIsStale() ? Taken::FormatChanged : Taken::Damaged;
    if (needed != packedSize) {
        packed.resize(static_cast<size_t>(packedSize));
        const uint8_t* from = bytes.data();
        uint8_t* to = packed.data();
        for (const Plane& plane : planes)
            for (int64_t row = 0; row < plane.rows; ++row, from += plane.stride, to += plane.rowBytes)
                std::memcpy(to, from, static_cast<size_t>(plane.rowBytes));
        bytes = packed;
    }
    picture = {bytes.first(static_cast<size_t>(packedSize)), format.format, format.width, format.height};
    return Taken::Frame;
}

// Whether the device is set to something else than what this run was started with.
bool V4L2Stream::FormatIsStale() const
{
    v4l2_format now{};
    now.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    return device->Ioctl(VIDIOC_G_FMT, now) == 0 &&
           (now.fmt.pix.width != layout.width || now.fmt.pix.height != layout.height ||
            now.fmt.pix.pixelformat != layout.pixelformat || now.fmt.pix.bytesperline != layout.bytesperline);
}

// Some drivers never count, and some start anew in mid-run: a step that leads nowhere forward is taken as one frame.
void V4L2Stream::CountFrame(uint32_t deviceSequence)
{
    if (lastDeviceSequence) {
        const auto step = static_cast<int32_t>(deviceSequence - *lastDeviceSequence);
        sequence += step > 0 ? static_cast<uint32_t>(step) : 1;
    }
    lastDeviceSequence = deviceSequence;
}

int64_t V4L2Stream::CaptureTimeOf(const v4l2_buffer& buffer)
{
    const int64_t now = MonotonicNow();
    const int64_t stamp = int64_t{buffer.timestamp.tv_sec} * 1'000'000'000 + int64_t{buffer.timestamp.tv_usec} * 1000;
    const bool isMonotonic = (buffer.flags & V4L2_BUF_FLAG_TIMESTAMP_MASK) == V4L2_BUF_FLAG_TIMESTAMP_MONOTONIC;
    const bool isBelieved = isMonotonic && stamp > now - kOldestStamp && stamp <= now && stamp > lastCaptureTime;
    return lastCaptureTime = isBelieved ? stamp : now;
}

} // namespace platform
