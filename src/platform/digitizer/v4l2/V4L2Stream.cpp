// SPDX-License-Identifier: MIT
// A streaming run over memory-mapped buffers.
//
// The states follow one another: format set, buffers requested, mapped, queued, streaming. The destructor undoes those
// that were reached, so each step may simply fail. A buffer belongs either to the driver (queued) or, between `Take`
// and `GiveBack`, to the caller. A damaged frame goes straight back to the driver.
#include "platform/digitizer/v4l2/V4L2Stream.h"

#include "platform/clock/MonotonicClock.h"
#include "platform/log/Log.h"

#include <cerrno>

namespace platform {
namespace {

constexpr uint32_t kBuffers = 6;
constexpr uint32_t kMinBuffers = 2;

} // namespace

std::unique_ptr<V4L2Stream> V4L2Stream::Begin(std::shared_ptr<V4L2Device> device, const std::vector<V4L2Offer>& offers,
                                              const CaptureFormat& wanted, bool sameSize, int& error)
{
    std::unique_ptr<V4L2Stream> stream(new V4L2Stream(std::move(device)));
    error = ApplyFormat(*stream->device, offers, wanted, stream->format, stream->layout);
    if (error != 0)
        return nullptr;
    if (sameSize && (stream->format.width != wanted.width || stream->format.height != wanted.height))
        error = ERANGE;
    stream->pictures.emplace(stream->layout);
    stream->stamps = CaptureStamps(stream->format.frameRate);
    if (error == 0)
        error = stream->MapBuffers();
    if (error == 0)
        error = stream->Run();
    return error == 0 ? std::move(stream) : nullptr;
}

V4L2Stream::~V4L2Stream()
{
    auto type = static_cast<int>(device->BufferType());
    if (running)
        device->Ioctl(VIDIOC_STREAMOFF, type);
    for (const auto& planes : mappings)
        for (const Mapping& mapping : planes)
            device->System().Unmap(mapping.memory, mapping.length);
    // Unless its buffers are released, the device can't be set to another format, or used by anyone else.
    uint32_t none = 0;
    if (requested)
        RequestBuffers(none);
}

int V4L2Stream::Call(unsigned long request, Buffer& buffer, uint32_t index) const
{
    buffer = {};
    buffer.record.index = index;
    buffer.record.type = device->BufferType();
    buffer.record.memory = V4L2_MEMORY_MMAP;
    if (device->IsMultiPlanar()) {
        buffer.record.m.planes = buffer.planes.data();
        buffer.record.length = layout.planes;
    }
    return device->Ioctl(request, buffer.record);
}

int V4L2Stream::RequestBuffers(uint32_t& count) const
{
    v4l2_requestbuffers request{};
    request.count = count;
    request.type = device->BufferType();
    request.memory = V4L2_MEMORY_MMAP;
    const int error = device->Ioctl(VIDIOC_REQBUFS, request);
    count = request.count;
    return error;
}

int V4L2Stream::MapBuffers()
{
    uint32_t count = kBuffers;
    if (const int error = RequestBuffers(count); error != 0)
        return error;
    requested = true;
    if (count < kMinBuffers)
        return ENOMEM;
    int error = 0;
    for (uint32_t i = 0; i < count && error == 0; ++i)
        error = MapPlanes(i);
    return error;
}

int V4L2Stream::MapPlanes(uint32_t index)
{
    Buffer buffer;
    if (const int error = Call(VIDIOC_QUERYBUF, buffer, index); error != 0)
        return error;
    auto& planes = mappings.emplace_back();
    const size_t count = device->IsMultiPlanar() ? layout.planes : 1;
    for (size_t i = 0; i < count; ++i) {
        const v4l2_plane& plane = buffer.planes[i];
        const size_t length = device->IsMultiPlanar() ? plane.length : buffer.record.length;
        const int64_t offset = device->IsMultiPlanar() ? plane.m.mem_offset : buffer.record.m.offset;
        void* memory = device->System().Map(device->Descriptor(), length, offset);
        if (memory == nullptr) {
            const int error = errno;
            digitizerLog.Warning(PathOfNode(device->Node()), ": mmap: ", ErrorText(error));
            return error;
        }
        planes.push_back({static_cast<uint8_t*>(memory), length});
    }
    return 0;
}

int V4L2Stream::Run()
{
    Buffer buffer;
    for (uint32_t i = 0; i < mappings.size(); ++i)
        if (const int error = Call(VIDIOC_QBUF, buffer, i); error != 0)
            return error;
    auto type = static_cast<int>(device->BufferType());
    const int error = device->Ioctl(VIDIOC_STREAMON, type);
    running = error == 0;
    return error;
}

Taken V4L2Stream::Take(CapturedFrame& frame)
{
    lastError = Call(VIDIOC_DQBUF, current, 0);
    if (lastError == 0 && current.record.index >= mappings.size())
        lastError = EIO;
    if (lastError != 0)
        return lastError == EAGAIN ? Taken::Nothing : Taken::Failed;
    CountFrame(current.record.sequence);
    const Taken taken = Examine(frame.picture);
    frame.captureTime = CaptureTimeOf(current.record);
    frame.sequence = sequence;
    if (taken != Taken::Frame && !GiveBack())
        return Taken::Failed;
    return taken;
}

bool V4L2Stream::GiveBack()
{
    Buffer buffer;
    lastError = Call(VIDIOC_QBUF, buffer, current.record.index);
    return lastError == 0;
}

// A frame too short for its format is damaged, unless the device has been set to another format meanwhile.
Taken V4L2Stream::Examine(RawFrame& picture)
{
    if ((current.record.flags & V4L2_BUF_FLAG_ERROR) != 0)
        return Taken::Damaged;
    const auto& planes = mappings[current.record.index];
    std::array<std::span<const uint8_t>, 3> memory;
    for (size_t i = 0; i < planes.size(); ++i) {
        const v4l2_plane& plane = current.planes[i];
        const uint32_t used = device->IsMultiPlanar() ? plane.bytesused : current.record.bytesused;
        const uint32_t skipped = device->IsMultiPlanar() ? plane.data_offset : 0;
        if (used > planes[i].length || skipped > used)
            return Taken::Damaged;
        memory[i] = {planes[i].memory + skipped, used - skipped};
    }
    switch (pictures->Read(std::span(memory).first(planes.size()), current.record.field, picture)) {
    case V4L2Pictures::Found::Picture:
        return Taken::Frame;
    case V4L2Pictures::Found::Half:
        return Taken::Nothing;
    case V4L2Pictures::Found::Waiting:
        return Taken::Alive;
    case V4L2Pictures::Found::Damaged:
        break;
    }
    return FormatIsStale() ? Taken::Restart : Taken::Damaged;
}

// Whether the device's format differs from the one with which this run was started.
bool V4L2Stream::FormatIsStale() const
{
    V4L2Layout now;
    return device->Layout(VIDIOC_G_FMT, now) == 0 && now != layout;
}

// Some drivers never count, and some start again in mid-run: a step that is not forward counts as one frame.
void V4L2Stream::CountFrame(uint32_t deviceSequence)
{
    const bool isSecondField = layout.field == V4L2_FIELD_ALTERNATE && lastDeviceSequence == deviceSequence;
    if (lastDeviceSequence && !isSecondField) {
        const auto step = static_cast<int32_t>(deviceSequence - *lastDeviceSequence);
        sequence += step > 0 ? static_cast<uint32_t>(step) : 1;
    }
    lastDeviceSequence = deviceSequence;
}

int64_t V4L2Stream::CaptureTimeOf(const v4l2_buffer& record)
{
    // Unsigned, since a driver may return any number.
    const auto stamp = static_cast<int64_t>(static_cast<uint64_t>(record.timestamp.tv_sec) * kNanosecondsPerSecond +
                                            static_cast<uint64_t>(record.timestamp.tv_usec) * 1000);
    const bool isMonotonic = (record.flags & V4L2_BUF_FLAG_TIMESTAMP_MASK) == V4L2_BUF_FLAG_TIMESTAMP_MONOTONIC;
    return stamps.Next(isMonotonic ? std::optional(stamp) : std::nullopt, MonotonicNow());
}

} // namespace platform
